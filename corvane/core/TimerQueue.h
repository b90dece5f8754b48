#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/SerialQueues.h"

namespace corvane {

/// Calls an action at a fixed cadence on a serial queue of its own, off the main queue.
///
/// **Which one to choose.** A TimerQueue where the cadence matters or the work would hold up the main queue; each uses
/// a thread while it runs. A Repeater for periodic work of the application on the main queue. main_after() and
/// DispatchQueueSerial::after() for what happens once, later. A DispatchQueueSerial for work that is to be done now. A
/// PThread for a loop of your own that blocks.
///
/// The cadence does not drift: every period starts where the one before ended, and an action that overruns is followed
/// at once by as many further runs as were missed. (A Repeater skips them.) The period can be changed at any time. Hold
/// it by std::shared_ptr; while it runs it keeps itself alive, until stop().
///
/// Start and stop it from one controlling thread, and stop only a timer that runs: stop() before the loop has begun
/// returns at once, and the loop then begins all the same. The action may read and set usecs and read isStopped, but
/// must not call stop(), which waits for it. Action and start-run must not throw.
class CORVANE_API TimerQueue : public std::enable_shared_from_this<TimerQueue> {
 public:
  using Action = std::function<void()>;

  /// `label` names the queue. `interval` is the period in seconds; fatal if it is not finite or 64 bits of microseconds
  /// do not hold it. `startRun`, which may be empty, is called once on the queue before the first period begins.
  TimerQueue(std::string label, double interval, Action startRun, Action action);

  TimerQueue(const TimerQueue&) = delete;
  TimerQueue& operator=(const TimerQueue&) = delete;

  /// The period in microseconds. Any thread. A change counts from the start of the period that runs. With 0 the action
  /// runs continuously.
  std::int64_t usecs() const;
  void setUsecs(std::int64_t usecs);

  /// True if the loop does not run: before start() has taken effect and after stop(). Any thread.
  bool isStopped() const;

  /// Starts the loop on a new queue: the first action comes one period later. If the last reference is dropped before
  /// the queue gets to it, nothing runs. Fatal if no shared_ptr holds the timer.
  void start(QoS qos = QoS::UNSPECIFIED);

  /// Ends the loop and returns when it has ended, and an action in progress with it.
  void stop();

 private:
  void loop();

  const std::string m_label;
  const Action m_start_run;
  const Action m_action;
  mutable Mutex m_mutex;
  std::int64_t m_usecs CORVANE_GUARDED_BY(m_mutex);
  bool m_running CORVANE_GUARDED_BY(m_mutex) = false;
  bool m_stopped CORVANE_GUARDED_BY(m_mutex) = true;
};

}  // namespace corvane
