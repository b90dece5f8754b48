#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view HEATER_HELP = "  --svg FILE     write the picture to FILE, - being standard output\n";

/// The heater command: plots a HeaterTrial under three tunings.
int heater(const Arguments& arguments);

}  // namespace corvane::inspector
