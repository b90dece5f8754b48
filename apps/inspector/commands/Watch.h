#pragma once

#include "apps/inspector/commands/WatchOptions.h"

namespace corvane::inspector {

/// The watch command: shows the readings until time or user end it; the process's exit status. A SIGHUP, SIGINT or
/// SIGTERM also ends it in order and then takes its usual effect.
int watch(const Arguments& arguments);

}  // namespace corvane::inspector
