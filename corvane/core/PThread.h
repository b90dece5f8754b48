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

/// Starts one detached thread and returns only when it really runs.
///
/// For one loop that lasts, or waits for what no queue knows. For work that comes in pieces take a DispatchQueueSerial;
/// for a task that recurs, a Repeater, which runs on the main queue, or a TimerQueue, which keeps a fixed cadence.
///
/// The thread is never joined or cancelled: whoever owns the action ends it through a flag of its own. start() and
/// stop() are for one controlling thread.
class CORVANE_API PThread {
 public:
  /// The thread's body; receives the context given to start(), empty if none was.
  using Action = std::function<void(std::any)>;

  /// What the starting and the started thread share.
  struct threadContext {
    /// Has the thread announced itself?
    enum class state : std::uint8_t { stopped = 0, running = 1 };

    Mutex mutex;
    state state CORVANE_GUARDED_BY(mutex) = state::stopped;
    std::any context CORVANE_GUARDED_BY(mutex);
    Action action CORVANE_GUARDED_BY(mutex);
  };

  PThread();

  /// Starts a detached thread that calls `action(context)` once; returns when it is about to. If the system refuses
  /// another thread this waits for ever. An exception that leaves the action ends the process.
  void start(std::any context, Action action);

  /// Forgets the thread, so that start() can start another; an action that runs goes on until it returns.
  void stop();

 private:
  std::optional<pthread_t> m_thread;
  std::shared_ptr<threadContext> m_context;
};

}  // namespace corvane
