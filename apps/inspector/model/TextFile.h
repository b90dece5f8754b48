#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/core/Text.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The contents of a file, at most `limit` bytes; std::nullopt if it cannot be read. Never waits for a writer.
std::optional<std::string> readText(const std::string& path, std::size_t limit = std::size_t{1} << 20U);

/// The last `limit` bytes of a file, from the first whole line; std::nullopt if it cannot be read.
std::optional<std::string> readTail(const std::string& path, std::size_t limit);

/// Writes to a file, or to whatever else is at the path.
Result<void> writeText(const std::string& path, std::string_view text);

/// The lines of a text.
std::vector<std::string_view> linesOf(std::string_view text);

/// The pieces of a line between blanks.
std::vector<std::string_view> fieldsOf(std::string_view line);

}  // namespace corvane::inspector
