#pragma once

#include <array>
#include <string>
#include <string_view>

#include "apps/inspector/model/History.h"
#include "apps/inspector/model/Readings.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The display of one reading.
struct ReadingRow {
  Gauge gauge;
  std::string_view name;
  std::string_view shortName;
  /// The reading with its unit; empty if there is none.
  std::string (*value)(const Readings& readings, const Glyphs& glyphs);
  /// The range of the graph, given the range of the values shown.
  Range (*range)(const Readings& readings, Range shown);
};

extern const std::array<ReadingRow, GAUGES> READING_ROWS;

}  // namespace corvane::inspector
