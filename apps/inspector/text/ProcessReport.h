#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// Processes as a human-readable table with a line of titles. If a width is given, no line is wider: columns that do
/// not fit are omitted, the least important first, and the last one is cut.
std::string processTable(const std::vector<ProcessRow>& rows, const Glyphs& glyphs, std::optional<std::size_t> width);

/// A process as a JSON object in one line, without a line end. Unknown values are null.
std::string processObject(const ProcessRow& row);

}  // namespace corvane::inspector
