#pragma once

#include <string>
#include <vector>

#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The readings in one line for people, without the line's end.
std::string plainLine(const Readings& readings, const Glyphs& glyphs);

/// The repeaters' statistics as a table for people.
std::string plainTable(const std::vector<RepeaterRow>& rows, const Glyphs& glyphs);

/// Readings and statistics as one JSON object in one line, without the line's end. Rates are bytes a second; what could
/// not be read is null.
std::string jsonLine(const Readings& readings, const std::vector<RepeaterRow>& rows, Timeval time);

}  // namespace corvane::inspector
