#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// Processes as a table for people, with a line of titles. Where a width is given no line is wider: columns that have
/// no room are left out, the least needed first, and the last one is cut.
std::string processTable(const std::vector<ProcessRow>& rows, const Glyphs& glyphs, std::optional<std::size_t> width);

/// A process as one JSON object in one line, without the line's end. What is not known is null.
std::string processObject(const ProcessRow& row);

}  // namespace corvane::inspector
