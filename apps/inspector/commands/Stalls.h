#pragma once

#include <string_view>

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view STALLS_HELP =
    "Prints what keeps an application's main thread from its other work: time, length, and the repeater, or else the\n"
    "type of the item of the main queue. What lasts is told every five seconds. It goes on when the application runs\n"
    "again. NAME is as for attach.\n\n"
    "  --longer-than MS  tell only what takes at least so many milliseconds (default: 100)\n"
    "  --for SECONDS     end after so many whole seconds\n"
    "  --json            print one JSON object for each\n";

int stalls(const Arguments& arguments);

}  // namespace corvane::inspector
