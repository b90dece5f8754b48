#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view PID_HELP = "  --svg FILE     write the picture to FILE\n";

/// The command that plots HeaterTrial under three tunings.
int pid(const Arguments& arguments);

}  // namespace corvane::inspector
