#pragma once

#include <string_view>

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view RECORD_HELP =
    "Records what an application's main loop, repeaters, queues and timers do, and writes the timeline in the\n"
    "trace-event format. Ctrl-C ends the recording early. NAME is as for attach.\n\n"
    "  --for SECONDS  record so many whole seconds (default: 10)\n"
    "  --out FILE     where to write it; - is standard output\n";

int record(const Arguments& arguments);

}  // namespace corvane::inspector
