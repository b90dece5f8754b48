#pragma once

#include "apps/inspector/commands/LogOptions.h"

namespace corvane::inspector {

/// The log command: shows a log.
int showLog(const Arguments& arguments);

}  // namespace corvane::inspector
