#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view SETTINGS_HELP =
    "  [KEY [VALUE]]  show what the live view remembers, or one setting, or change it:\n"
    "                 average, in seconds from 1 to 60; sort, by name, count, total,\n"
    "                 interval or duration; - in front of it sorts from the largest;\n"
    "                 processes, the same by pid, parent, user, state, kind, cpu,\n"
    "                 memory, threads, time, name or command\n"
    "  --reset        forget all changes\n";

/// The settings command: shows and changes the settings, even while a live view runs.
int settings(const Arguments& arguments);

}  // namespace corvane::inspector
