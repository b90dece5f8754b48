#include "corvane/core/Text.h"

#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace corvane {

namespace {

// The White_Space characters beyond ASCII, in UTF-8.
constexpr std::array<std::string_view, 19> WIDE_SPACES = {
    "\u0085", "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006",
    "\u2007", "\u2008", "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

bool isAsciiSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// The bytes of the space that the text begins (or ends) with, 0 if there is none.
std::size_t spaceAt(std::string_view text, bool atEnd) {
  if (text.empty()) return 0;
  const char c = atEnd ? text.back() : text.front();
  if (static_cast<unsigned char>(c) < 0x80) return isAsciiSpace(c) ? 1 : 0;
  for (const std::string_view space : WIDE_SPACES)
    if (atEnd ? text.ends_with(space) : text.starts_with(space)) return space.size();
  return 0;
}

// How many ASCII characters the text begins with, not counting up to seven before another one: most text is all ASCII.
std::size_t asciiPrefix(std::string_view text) {
  using Word = std::uint64_t;
  const auto isAscii = [text](std::size_t at) {
    Word word = 0;
    std::memcpy(&word, text.data() + at, sizeof word);
    return (word & 0x8080808080808080) == 0;
  };
  std::size_t size = 0;
  for (; text.size() - size >= sizeof(Word); size += sizeof(Word))
    if (!isAscii(size)) return size;
  if (text.size() >= sizeof(Word)) return isAscii(text.size() - sizeof(Word)) ? text.size() : size;
  while (size < text.size() && static_cast<unsigned char>(text[size]) < 0x80) ++size;
  return size;
}

bool isUtf8Block(std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;  // only the length; nothing is converted
  u_strFromUTF8(nullptr, 0, &length, text.data(), static_cast<int32_t>(text.size()), &status);
  return status == U_BUFFER_OVERFLOW_ERROR || U_SUCCESS(status);
}

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())});
}

}  // namespace

bool isUtf8(std::string_view text) {
  text.remove_prefix(asciiPrefix(text));
  if (text.empty()) return true;
  constexpr std::size_t BLOCK = std::size_t{1} << 30;  // ICU counts in 32 bits
  while (text.size() > BLOCK) {
    std::size_t end = BLOCK;
    while (end > BLOCK - 4 && (text[end] & 0xC0) == 0x80) --end;  // not inside a character
    if (!isUtf8Block(text.substr(0, end))) return false;
    text.remove_prefix(end);
  }
  return isUtf8Block(text);
}

std::string upperCasedAscii(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

std::string decimal(double value, int decimals) {
  std::array<char, 400> buffer{};  // enough for the largest doubles
  const auto written =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed, decimals);
  return {buffer.data(), written.ptr};
}

std::string repaired(std::string text) {
  if (isUtf8(text)) return text;
  std::string result;
  unicode(text).toUTF8String(result);
  return result;
}

std::string caseFolded(std::string_view text) {
  std::string result;
  unicode(text).foldCase().toUTF8String(result);
  return result;
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
  return caseFolded(text).find(caseFolded(part)) != std::string::npos;
}

std::string_view trimmed(std::string_view text) {
  while (const std::size_t space = spaceAt(text, false)) text.remove_prefix(space);
  while (const std::size_t space = spaceAt(text, true)) text.remove_suffix(space);
  return text;
}

std::string jsonString(std::string_view text) {
  std::string result = "\"";
  for (const char c : repaired(std::string(text))) {
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      static constexpr std::string_view HEX = "0123456789abcdef";
      result += c < 0x10 ? "\\u000" : "\\u001";
      result += HEX[static_cast<unsigned char>(c) & 0xFU];
    } else {
      result += c;
    }
  }
  return result += '"';
}

void appendPercentEscape(std::string& text, char byte) {
  constexpr std::string_view DIGITS = "0123456789ABCDEF";
  const auto number = static_cast<unsigned char>(byte);
  text += {'%', DIGITS[number >> 4], DIGITS[number & 15]};
}

}  // namespace corvane
