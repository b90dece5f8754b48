#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/text/Glyphs.h"
#include "corvane/platform/PowerManager.h"

namespace corvane::inspector {

/// The name of a record's process, or "-".
std::string processOf(const AssertionRecord& record);
/// The reason of a record, or "-".
std::string reasonOf(const AssertionRecord& record);

/// The records as a table with a heading; each line is cut to the width, if there is one.
std::string assertionTable(const std::vector<AssertionRecord>& records, const Glyphs& glyphs,
                           std::optional<std::size_t> width);

/// A record in one line: "4711  player  PreventUserIdleDisplaySleep  playing a film".
std::string assertionLine(const AssertionRecord& record, const Glyphs& glyphs);

/// A record's members as those of a JSON object, without braces.
std::string assertionMembers(const AssertionRecord& record);

}  // namespace corvane::inspector
