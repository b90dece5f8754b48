#pragma once

#include <functional>
#include <memory>

#include "corvane/platform/Export.h"

namespace corvane {

/// Work that runs once, some time from now: the handle to take it back with. Dropping the handle changes nothing.
///
/// main_after() and DispatchQueueSerial::after() make it. All delayed work of a process shares one thread, which exists
/// while there is any; if the system refuses it, which is reported in the log, the next delayed work tries again. For
/// what comes again and again take a Repeater or a TimerQueue.
///
///     corvane::Delayed hint = corvane::main_after(0.5, [] { showHint(); });
///     ...
///     hint.cancel();                                    // the pointer has moved on
///
/// The time lies on the real-time clock: setting the system's time moves it, and what fell due while the machine slept
/// runs on wake. Every member: any thread.
class CORVANE_API Delayed {
 public:
  /// Where the work goes when it is due: queues it, from any thread.
  using Submit = std::function<void(std::function<void()>)>;

  /// No work.
  Delayed() = default;

  /// Gives `work` to `submit` in `seconds`, at once if they are not positive. Fatal: seconds that are not finite or
  /// lead beyond the year 2262.
  Delayed(double seconds, std::function<void()> work, Submit submit);

  /// Takes the work back and destroys it. From the queue it was meant for: it does not run any more. From another
  /// thread, a run that has begun may still be going on.
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
