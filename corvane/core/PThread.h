#pragma once

#include <pthread.h>

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Starts one detached thread and returns only when it is actually running.
///
/// **Which one to choose.** A PThread for a long-running loop of your own, or one that blocks. A DispatchQueueSerial
/// for work that comes in pieces and is to be done now. A Repeater for periodic work on the main queue. A TimerQueue
/// for a fixed cadence off the main queue. main_after() and DispatchQueueSerial::after() for work that runs once,
/// later.
///
/// The thread is never joined or cancelled: the owner of the action ends it through a flag of its own. Call start() and
/// stop() from one controlling thread only.
class CORVANE_API PThread {
 public:
  /// The thread's body; receives the context given to start(), which may be empty.
  using Action = std::function<void(std::any)>;

  /// What the starting and the started thread share.
  struct threadContext {
    /// Whether the thread has announced itself.
    enum class state : std::uint8_t { stopped = 0, running = 1 };

    Mutex mutex;                                             ///< guards the rest
    state state CORVANE_GUARDED_BY(mutex) = state::stopped;  ///< whether it has begun
    std::any context CORVANE_GUARDED_BY(mutex);              ///< what the action is called with
    Action action CORVANE_GUARDED_BY(mutex);                 ///< what the thread runs
  };

  PThread();

  /// Starts a detached thread that calls `action(context)` once; returns when the thread is about to do so. If the
  /// system refuses another thread, this waits forever. An exception that leaves the action ends the process.
  void start(std::any context, Action action);

  /// Forgets the thread, so that start() can start another one; a running action continues until it returns.
  void stop();

 private:
  std::optional<pthread_t> m_thread;
  std::shared_ptr<threadContext> m_context;
};

}  // namespace corvane
