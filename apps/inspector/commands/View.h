#pragma once

#include "apps/inspector/commands/ViewOptions.h"

namespace corvane::inspector {

/// The view command: shows the readings until the time is over or the user ends it; the process's exit status. A
/// SIGHUP, SIGINT or SIGTERM also ends it in order and then takes its usual effect.
int view(const Arguments& arguments);

}  // namespace corvane::inspector
