#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view HELPER_HELP =
    "The helper is a program that runs as root. It tells what the processes of all users\n"
    "read, write and keep in memory (ps --all, key g on the page of processes), and an\n"
    "administrator is asked each time when a program begins to use it.\n"
    "  install  copy it to where the system starts it, as an administrator\n"
    "  status   say whether it is installed\n"
    "  remove   remove it, as an administrator\n";

/// The helper command: installs and removes the helper.
int helper(const Arguments& arguments);

}  // namespace corvane::inspector
