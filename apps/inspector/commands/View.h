#pragma once

#include "apps/inspector/commands/ViewOptions.h"

namespace corvane::inspector {

/// The view command: shows the readings until the time is over or the user ends it; returns the exit status. A SIGHUP,
/// SIGINT or SIGTERM also ends it properly and then has its usual effect.
int view(const Arguments& arguments);

}  // namespace corvane::inspector
