#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view RUN_HELP =
    "  -- COMMAND...  the command, looked up as the shell does, with its arguments; its streams are the program's "
    "own.\n"
    "                 At the end a line on standard error tells its status, times and peak memory; the exit status is\n"
    "                 the command's, 128 and more for a signal, 127 if it is not found, 126 if it cannot be started\n"
    "  --json         tell that as a JSON object\n";

/// The command that runs another program and tells what that took.
int runCommand(const Arguments& arguments);

}  // namespace corvane::inspector
