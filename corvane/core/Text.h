#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// A UTF-8 text without the white space and line breaks at both ends. White space is defined by Unicode (property
/// White_Space). The result refers to the argument's characters.
CORVANE_API std::string_view trimmed(std::string_view text);

/// True if the bytes are well-formed UTF-8. U+0000 is a character like any other.
CORVANE_API bool isUtf8(std::string_view text);

/// The text (repaired where it is not UTF-8) without the distinction between upper and lower case, for comparing and
/// searching: Unicode's full case folding, independent of the language.
CORVANE_API std::string caseFolded(std::string_view text);

/// True if `part` occurs in `text`, regardless of case.
CORVANE_API bool containsIgnoringCase(std::string_view text, std::string_view part);

/// The text with the ASCII letters in upper case, whatever the locale.
CORVANE_API std::string upperCasedAscii(std::string text);

/// The number that the whole text consists of, with at most one sign, as std::from_chars reads it; std::nullopt if
/// there is anything else or the number is out of range.
template <class Number>
std::optional<Number> numberIn(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

/// A number with a given number of decimals (at most 60), and a decimal point whatever the locale.
CORVANE_API std::string decimal(double value, int decimals);

/// The text as valid UTF-8. Each maximal ill-formed part becomes one U+FFFD, as Unicode recommends: a byte that does
/// not start a character, the bytes of a truncated character, or each byte of an overlong form or of a surrogate.
CORVANE_API std::string repaired(std::string text);

/// Unchecked text as a JSON string with its quotes; always valid UTF-8.
CORVANE_API std::string jsonString(std::string_view text);

/// Appends a byte as it is escaped in URLs: "%" and two hexadecimal digits.
CORVANE_API void appendPercentEscape(std::string& text, char byte);

}  // namespace corvane
