#pragma once

#include <string>
#include <string_view>

namespace corvane::inspector {

/// Writes to standard output; the code of the system call that failed, 0 on success.
int writeOut(std::string_view text);

/// What the program returns after output that ended with this code: a reader of a pipe that has seen enough is no
/// failure; others are reported.
int statusAfterOutput(int error);

/// Reports a failure in one line, and gives back the status.
int fail(const std::string& reason, int status = 1);

/// The same for a command line that the program does not understand.
int failUsage(const std::string& reason);

}  // namespace corvane::inspector
