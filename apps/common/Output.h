#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// Writes to standard output; the code of the system call that failed, 0 on success.
int writeOut(std::string_view text);

/// What the program returns after output that ended with this code: a reader of a pipe that has seen enough is not a
/// failure; others are reported.
int statusAfterOutput(int error);

/// The name that begins every report; must outlive its use.
void setProgramName(std::string_view name);

/// Reports something on standard error in one line.
void report(std::string_view line);

/// Reports a failure in one line, and gives the exit status.
int fail(std::string_view reason, int status = 1);

/// The same, with status 2, for a command line that the program does not understand.
int failUsage(std::string_view reason);

}  // namespace corvane
