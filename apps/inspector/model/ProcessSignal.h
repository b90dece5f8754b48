#pragma once

#include <sys/types.h>

#include <cstdint>

#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// Sends a signal to the process with this id and start time (microseconds since 1970), never to another one that has
/// since got the same id. The failure's description is a clause for the user: it has ended, this user may not signal
/// it, or it is this program, which does not stop or kill itself because it could not restore a terminal.
Result<void> sendSignal(pid_t pid, std::int64_t started, int number);

}  // namespace corvane::inspector
