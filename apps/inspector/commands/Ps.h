#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view PS_HELP =
    "  --for SECONDS  measure what they use of the processors for so many seconds (1 unless given)\n"
    "  --sort COLUMN  by pid (unless given), parent, user, state, kind, cpu, memory, threads,\n"
    "                 time, name or command, with - in front from the largest\n"
    "  --user USER    only those of a user, by name or number\n"
    "  --filter TEXT  only those with TEXT in name, path, command or user, or with that pid\n"
    "  --json         print one JSON object a process\n"
    "  --tree         draw them as a tree, with\n"
    "    --svg FILE     where to write the picture, - being standard output\n"
    "    --hide N       hide what is below processes with more than N shown below them; unless\n"
    "                   given, 400 are shown, from the top down\n";

/// The command that lists the processes.
int ps(const Arguments& arguments);

}  // namespace corvane::inspector
