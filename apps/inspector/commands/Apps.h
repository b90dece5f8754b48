#pragma once

#include <string_view>

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view APPS_HELP =
    "Lists the user's applications that let others look into them, see attach, record and stalls.\n\n"
    "  --json  print one JSON object for each\n";

int apps(const Arguments& arguments);

}  // namespace corvane::inspector
