#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// The number that makes up the whole of `text`; std::nullopt if it is anything else or too large.
template <class Number>
std::optional<Number> numberIn(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// A text in which letters that differ only in case are the same, for comparing. Bytes that are not UTF-8 become
/// U+FFFD.
std::string caseFolded(std::string_view text);

/// True if `part` occurs in `text`, whatever the letter case.
bool containsIgnoringCase(std::string_view text, std::string_view part);

}  // namespace corvane
