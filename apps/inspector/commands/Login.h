#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view LOGIN_HELP =
    "  on             start the program at login\n"
    "  off            stop starting it at login\n"
    "  status         show whether it is started\n";

/// The command that switches the start at login.
int login(const Arguments& arguments);

}  // namespace corvane::inspector
