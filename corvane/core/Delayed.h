#pragma once

#include <functional>
#include <memory>

#include "corvane/platform/Export.h"

namespace corvane {

/// A handle to work that runs once, after a delay; use it to cancel the work. Dropping the handle does not cancel it.
///
/// main_after() and DispatchQueueSerial::after() return it. All delayed work of a process shares one thread, which
/// exists while there is any such work. If the system refuses the thread, this is logged, and the next delayed work
/// tries again. For recurring work use a Repeater or a TimerQueue.
///
///     corvane::Delayed hint = corvane::main_after(0.5, [] { showHint(); });
///     ...
///     hint.cancel();                                    // the pointer has moved on
///
/// The delay follows the real-time clock: setting the system's time shifts it, and work that fell due while the machine
/// slept runs on wake. Every member: any thread.
class CORVANE_API Delayed {
 public:
  /// Queues the work when it is due. Called on any thread.
  using Submit = std::function<void(std::function<void()>)>;

  /// No work.
  Delayed() = default;

  /// Passes `work` to `submit` after `seconds`, or at once if that is not positive. Fatal: seconds that are not finite
  /// or lead beyond the year 2262.
  Delayed(double seconds, std::function<void()> work, Submit submit);

  /// Cancels the work and destroys it. If called on the queue that the work was meant for, it does not run any more. If
  /// called on another thread, a run that has begun may still be in progress.
  void cancel();

  /// True until the work begins or is cancelled.
  bool pending() const;

 private:
  struct Work;
  class Waiting;
  static Waiting& waiting();

  std::shared_ptr<Work> m_work;
};

}  // namespace corvane
