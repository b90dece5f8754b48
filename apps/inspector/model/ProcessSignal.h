#pragma once

#include <sys/types.h>

#include <cstdint>

#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// Sends a signal to the process that has this number and was started then (microseconds since 1970), and to no other
/// that has got its number since. The failure's description is a clause for the user: it has ended, this user may not
/// signal it, or it is this program, which does not stop or kill itself because that would leave the terminal as it is.
Result<void> sendSignal(pid_t pid, std::int64_t started, int number);

}  // namespace corvane::inspector
