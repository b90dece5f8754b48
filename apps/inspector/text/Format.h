#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/inspector/text/Glyphs.h"
#include "corvane/core/Text.h"
#include "corvane/core/Timeval.h"

namespace corvane::inspector {

// Texts produced here contain only characters that are one column wide, so that a text has as many columns as
// characters. printable() converts any other text to such a text.

/// Bytes per second with a suitable unit: "999 B/s", "1.0 kB/s", "12.3 MB/s".
std::string rate(double bytesPerSecond);

/// An amount of memory with a suitable unit: "0 KiB", "999 KiB", "1.0 MiB", "12.3 GiB".
std::string bytes(std::uint64_t count);

/// A length of time: "0:01.25" in minutes, seconds and hundredths; from one hour on, "1:00:01".
std::string duration(std::int64_t usec);

/// A point in time in UTC: "2024-03-07T09:05:01.000Z".
std::string iso8601(Timeval time);

/// The number of columns of a text.
std::size_t columnsOf(std::string_view text);

/// The first `columns` columns of a text.
std::string clipped(std::string_view text, std::size_t columns);

/// The text with blanks before (or after) it, so that it takes at least `columns` columns.
std::string alignedRight(std::string_view text, std::size_t columns);
std::string alignedLeft(std::string_view text, std::size_t columns);

/// The text as lines of at most `columns` columns; all lines but the first are indented.
std::vector<std::string> wrapped(std::string_view text, std::size_t columns);

/// Unchecked text, with a question mark in place of anything but a printable character of one column.
std::string printable(std::string_view text, const Glyphs& glyphs);

/// A JSON array of the results of `print` for each item.
template <class Items, class Print>
std::string jsonArray(const Items& items, Print print) {
  std::string text;
  for (const auto& item : items) text.append(text.empty() ? "" : ",").append(print(item));
  return "[" + text + "]";
}

/// A JSON number; null if there is none or it is not finite.
std::string jsonNumber(std::optional<double> value, int decimals);

}  // namespace corvane::inspector
