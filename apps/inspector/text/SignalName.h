#pragma once

#include <string>

namespace corvane::inspector {

/// "SIGTERM"; "signal 40" for one without a name of its own.
std::string signalName(int number);

}  // namespace corvane::inspector
