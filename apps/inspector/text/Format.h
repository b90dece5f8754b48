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

// Texts made here hold only characters that are one column wide, so a text is as many columns wide as it has
// characters. printable() makes any other text so.

/// Bytes a second with a fitting unit: "999 B/s", "1.0 kB/s", "12.3 MB/s".
std::string rate(double bytesPerSecond);

/// An amount of memory with a fitting unit: "0 KiB", "999 KiB", "1.0 MiB", "12.3 GiB".
std::string bytes(std::uint64_t count);

/// A length of time: "0:01.25" in minutes, seconds and hundredths, from an hour on "1:00:01".
std::string duration(std::int64_t usec);

/// A point in time in UTC: "2024-03-07T09:05:01.000Z".
std::string iso8601(Timeval time);

/// Columns that a text takes.
std::size_t columnsOf(std::string_view text);

/// The first `columns` columns of a text.
std::string clipped(std::string_view text, std::size_t columns);

/// The text with blanks in front of it (or behind), so that it takes at least `columns` columns.
std::string alignedRight(std::string_view text, std::size_t columns);
std::string alignedLeft(std::string_view text, std::size_t columns);

/// The text in lines of at most `columns` columns; the second and further lines are indented.
std::vector<std::string> wrapped(std::string_view text, std::size_t columns);

/// Text from outside with a question mark for whatever is not a printable character of one column.
std::string printable(std::string_view text, const Glyphs& glyphs);

/// Text from outside as a JSON string, with its quotes; always valid UTF-8.
std::string jsonString(std::string_view text);

/// What `print` makes of each item, as a JSON array.
template <class Items, class Print>
std::string jsonArray(const Items& items, Print print) {
  std::string text;
  for (const auto& item : items) text.append(text.empty() ? "" : ",").append(print(item));
  return "[" + text + "]";
}

/// A JSON number; null if there is none or it is not finite.
std::string jsonNumber(std::optional<double> value, int decimals);

}  // namespace corvane::inspector
