#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// Writes to standard output; returns the errno code of a failure, 0 on success.
int writeOut(std::string_view text);

/// The number of columns of the terminal that standard output goes to; std::nullopt if it is none.
std::optional<std::size_t> terminalWidth();

/// The exit status after output that ended with this code: a closed pipe is not a failure; others are reported.
int statusAfterOutput(int error);

/// Sets the name at the beginning of every report; the text must outlive its use.
void setProgramName(std::string_view name);

/// Reports a line on standard error.
void report(std::string_view line);

/// Reports a failure in one line and returns the exit status.
int fail(std::string_view reason, int status = 1);

/// The same, with status 2, for invalid usage.
int failUsage(std::string_view reason);

}  // namespace corvane
