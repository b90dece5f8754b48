#pragma once

#include <array>
#include <string>
#include <string_view>

#include "apps/inspector/model/History.h"
#include "apps/inspector/model/Readings.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// How one reading is shown to people.
struct ReadingRow {
  Gauge gauge;
  std::string_view name;
  std::string_view shortName;
  /// The reading with its unit; empty if there is none.
  std::string (*value)(const Readings& readings, const Glyphs& glyphs);
  /// What the graph's ends stand for, given what it shows.
  Range (*range)(const Readings& readings, Range shown);
};

extern const std::array<ReadingRow, GAUGES> READING_ROWS;

}  // namespace corvane::inspector
