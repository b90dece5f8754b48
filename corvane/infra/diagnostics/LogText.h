#pragma once

#include <cstddef>
#include <string>

#include "corvane/platform/DiagnosticsPort.h"

namespace corvane {

/// The state of the log at a path, as Inspectable::log() tells it, without the lines written by this process.
LogState readLog(std::string path, const LogPlace& after, std::size_t limit);

}  // namespace corvane
