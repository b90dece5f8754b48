#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view PS_HELP =
    "  --for SECONDS  tell what they use of the processors over so many whole seconds (1 unless told otherwise)\n"
    "  --sort COLUMN  by pid, parent, user, state, kind, cpu, memory, threads, time, name or path,\n"
    "                 with - in front from the largest; by pid unless told otherwise\n"
    "  --user USER    only those of a user, by name or number\n"
    "  --filter TEXT  only those with TEXT in name, path or user, or with that pid\n"
    "  --json         print one JSON object a process\n"
    "  --tree         draw them as a tree: --svg FILE and --hide N are as in the command tree\n";

/// The command that lists the processes.
int ps(const Arguments& arguments);

}  // namespace corvane::inspector
