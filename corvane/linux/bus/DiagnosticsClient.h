#pragma once

#include <memory>

#include "corvane/core/Files.h"
#include "corvane/linux/Deadline.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Result.h"

namespace corvane::diagnostics {

/// The program at the other end of a connected socket, whose credentials have been checked. Nothing that it sends is
/// trusted. The connection lasts as long as the result, or the result of its watch().
Result<std::shared_ptr<Inspectable>> attach(FileDescriptor socket, const Deadline& deadline);

}  // namespace corvane::diagnostics
