#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view RUN_HELP =
    "  COMMAND  looked up as the shell does; it gets the ARGUMENTs and the program's own streams\n"
    "  --json   report as a JSON object\n"
    "\n"
    "At the end a line on standard error reports the command's status, times and peak memory.\n"
    "The exit status is the command's, 128 and more for a signal, 127 if it is not found, 126\n"
    "if it cannot be started.\n";

/// The run command: runs another program and reports the resources that it used.
int runCommand(const Arguments& arguments);

}  // namespace corvane::inspector
