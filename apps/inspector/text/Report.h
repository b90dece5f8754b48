#pragma once

#include <string>
#include <vector>

#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The readings in one human-readable line, without a line end.
std::string plainLine(const Readings& readings, const Glyphs& glyphs);

/// The repeaters' statistics as a human-readable table.
std::string plainTable(const std::vector<RepeaterRow>& rows, const Glyphs& glyphs);

/// Readings and statistics as a JSON object in one line, without a line end. Rates are in bytes per second; missing
/// readings are null.
std::string jsonLine(const Readings& readings, const std::vector<RepeaterRow>& rows, Timeval time);

}  // namespace corvane::inspector
