#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view PS_HELP =
    "  --for SECONDS  measure their use of the processors over so many seconds (default: 1)\n"
    "  --sort COLUMN  by pid (the default), parent, user, state, kind, cpu, memory, threads,\n"
    "                 time, name or command; - in front of it sorts from the largest\n"
    "  --user USER    only those of this user, a name or a number\n"
    "  --filter TEXT  only those with TEXT in name, path, command or user, or with that pid\n"
    "  --all          also what they keep in memory for themselves and what they read from and\n"
    "                 wrote to disks, which needs the helper and an administrator's permission;\n"
    "                 sorted by footprint, read or written\n"
    "  --json         print one JSON object for each process\n"
    "  --tree         draw them as a tree:\n"
    "    --svg FILE     where to write the picture, - being standard output\n"
    "    --hide N       hide what is below processes with more than N shown below them\n"
    "                   (default: show 400, from the top down)\n";

/// The ps command: lists the processes.
int ps(const Arguments& arguments);

}  // namespace corvane::inspector
