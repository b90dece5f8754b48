#pragma once

#include <string>

namespace corvane::inspector {

/// "SIGTERM"; "signal 40" for a signal without a name.
std::string signalName(int number);

}  // namespace corvane::inspector
