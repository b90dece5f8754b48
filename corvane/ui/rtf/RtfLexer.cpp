#include "corvane/ui/rtf/RtfLexer.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace corvane {

namespace {

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

RtfLexer::Token RtfLexer::next() {
  m_rest.remove_prefix(std::min(m_rest.find_first_not_of("\r\n"), m_rest.size()));
  if (m_rest.empty()) return {};
  switch (m_rest.front()) {
    case '{':
      return {Kind::OPEN, take(1)};
    case '}':
      return {Kind::CLOSE, take(1)};
    case '\\':
      take(1);
      return control();
    default:
      return {Kind::TEXT, take(m_rest.find_first_of("{}\\\r\n"))};
  }
}

std::string_view RtfLexer::take(std::size_t size) {
  const std::string_view taken = m_rest.substr(0, size);
  m_rest.remove_prefix(taken.size());
  return taken;
}

RtfLexer::Token RtfLexer::control() {
  if (m_rest.starts_with('\'')) return byte();
  const auto end = std::ranges::find_if_not(m_rest, isLetter);
  const std::string_view word = take(static_cast<std::size_t>(end - m_rest.begin()));
  if (word.empty()) return m_rest.empty() ? Token{} : Token{Kind::SYMBOL, take(1)};
  const std::optional<int> argument = number();
  if (m_rest.starts_with(' ')) take(1);
  if (word == "bin") return {Kind::BINARY, take(static_cast<std::size_t>(std::max(argument.value_or(0), 0)))};
  return {Kind::WORD, word, argument};
}

RtfLexer::Token RtfLexer::byte() {
  take(1);
  const std::string_view digits = m_rest.substr(0, 2);
  int value = 0;
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  if (error != std::errc() || stop != digits.data() + 2 || value < 0)
    return {Kind::TEXT};  // damaged: what follows is read as text
  take(2);
  return {Kind::BYTE, {}, value};
}

std::optional<int> RtfLexer::number() {
  const bool isNegative = m_rest.starts_with('-');
  const auto end = std::find_if_not(m_rest.begin() + (isNegative ? 1 : 0), m_rest.end(), isDigit);
  const std::string_view digits = m_rest.substr(0, static_cast<std::size_t>(end - m_rest.begin()));
  int value = 0;
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::invalid_argument) return std::nullopt;  // no digits: a hyphen is text
  take(digits.size());
  if (error == std::errc::result_out_of_range)
    return isNegative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
  return value;
}

}  // namespace corvane
