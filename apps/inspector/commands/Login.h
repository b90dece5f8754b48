#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view LOGIN_HELP =
    "  on             start the program at login\n"
    "  off            stop starting it at login\n"
    "  status         show whether it is started\n";

/// The login command: switches the start at login on and off.
int login(const Arguments& arguments);

}  // namespace corvane::inspector
