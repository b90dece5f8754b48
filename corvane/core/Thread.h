#pragma once

#include <pthread.h>

#include <functional>
#include <optional>

#include "corvane/platform/Export.h"

namespace corvane {

/// Starts a detached thread that runs `body`, which must not throw; the only place where the library creates such
/// threads. std::nullopt if the system refuses another thread: then `body` is dropped and does not run. Any thread.
CORVANE_API std::optional<pthread_t> startDetached(std::function<void()> body);

}  // namespace corvane
