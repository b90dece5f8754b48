#pragma once

#include <memory>
#include <string>

#include "corvane/core/Files.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Result.h"

namespace corvane::diagnostics {

/// Serves what `program` shows on a new socket with the name `name` in the folder `folder`, on a thread of its own,
/// until the result is destroyed, which waits for the call that is being answered. It then removes the socket. What is
/// at that path is replaced.
///
/// The thread does all for all viewers, reads a call only when the viewer has taken the answer to the one before, and
/// rests four times as long as it worked; so neither floods nor garbage nor viewers that stop can take more than a
/// fifth of a core or an answer's memory for each. A forked child has none of the sockets, and must not use the result;
/// its destruction there does nothing.
Result<std::shared_ptr<void>> serve(FileDescriptor folder, const std::string& name,
                                    std::shared_ptr<Inspectable> program);

}  // namespace corvane::diagnostics
