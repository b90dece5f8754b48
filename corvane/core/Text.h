#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// A UTF-8 text without the white space and line breaks at both ends. White space is what Unicode calls so (property
/// White_Space). The result refers to the argument's characters.
CORVANE_API std::string_view trimmed(std::string_view text);

/// True if the bytes are well-formed UTF-8. U+0000 is a character like any other.
CORVANE_API bool isUtf8(std::string_view text);

/// A UTF-8 text (repaired where it is not) in which upper and lower case are the same, for comparing and searching:
/// Unicode's full case folding, which knows no language.
CORVANE_API std::string caseFolded(std::string_view text);

/// True if `part` occurs in `text`, whatever the case of both.
CORVANE_API bool containsIgnoringCase(std::string_view text, std::string_view part);

/// The number that makes up the whole of a text, with at most one sign, as std::from_chars reads it; std::nullopt if
/// there is anything else or the number is out of range.
template <class Number>
std::optional<Number> numberIn(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

/// A number with so many decimals (at most 60), and a point in front of them whatever the locale.
CORVANE_API std::string decimal(double value, int decimals);

/// The text as valid UTF-8. Each maximal part of the bytes that is not UTF-8 becomes one U+FFFD (the practice that
/// Unicode recommends): a byte that starts no character, or the bytes of a character that breaks off too early; each
/// byte of an overlong form or of a surrogate.
CORVANE_API std::string repaired(std::string text);

/// Appends a byte as it is escaped in URLs: "%", two hexadecimal digits.
CORVANE_API void appendPercentEscape(std::string& text, char byte);

}  // namespace corvane
