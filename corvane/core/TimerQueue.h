#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/SerialQueues.h"

namespace corvane {

/// Calls an action at a fixed cadence on a serial queue of its own, off the main queue.
///
/// **Which one to choose.** A TimerQueue if the cadence matters or the work would hold up the main queue; each one uses
/// a thread while it runs. A Repeater for periodic work on the main queue. main_after() and
/// DispatchQueueSerial::after() for work that runs once, later. A DispatchQueueSerial for work that is to be done now,
/// off the main queue. A PThread for a long-running loop of your own, or one that blocks.
///
/// The cadence does not drift: every period starts where the previous one ended, and after an action that overruns, the
/// missed runs follow at once. (A Repeater skips them.) The period can be changed at any time. Hold it by
/// std::shared_ptr; while it runs it keeps itself alive, until stop().
///
/// Start and stop it from one controlling thread, and stop it only while it runs: stop() before the loop has begun
/// returns at once, and the loop then begins anyway. The action may read and set usecs and read isStopped, but must not
/// call stop(), which waits for it. The action and the start-run must not throw.
class CORVANE_API TimerQueue : public std::enable_shared_from_this<TimerQueue> {
 public:
  using Action = std::function<void()>;  ///< the work of each tick

  /// `label` names the queue. `interval` is the period in seconds; fatal if it is not finite or does not fit 64 bits of
  /// microseconds. `startRun`, which may be empty, is called once on the queue before the first period begins.
  TimerQueue(std::string label, double interval, Action startRun, Action action);

  TimerQueue(const TimerQueue&) = delete;
  TimerQueue& operator=(const TimerQueue&) = delete;

  /// The period in microseconds. Any thread. A change applies from the start of the current period. With 0 the action
  /// runs continuously.
  std::int64_t usecs() const;
  void setUsecs(std::int64_t usecs);

  /// True if the loop is not running: before start() has taken effect and after stop(). Any thread.
  bool isStopped() const;

  /// Starts the loop on a new queue; the action runs for the first time one period later. If the last reference is
  /// dropped before the queue gets to it, nothing runs. Fatal if the timer is not held by a shared_ptr.
  void start(QoS qos = QoS::UNSPECIFIED);

  /// Ends the loop and returns when it has ended, including an action in progress.
  void stop();

  /// The timers of the process whose loops run, in the order in which they began: for diagnostics. What runs is known
  /// of actions that began while Activity was on.
  static std::vector<TimerState> states();

 private:
  class Running;

  void loop();
  void act();

  const std::string m_label;
  const Action m_start_run;
  const Action m_action;
  mutable Mutex m_mutex;
  std::int64_t m_usecs CORVANE_GUARDED_BY(m_mutex);
  bool m_running CORVANE_GUARDED_BY(m_mutex) = false;
  bool m_stopped CORVANE_GUARDED_BY(m_mutex) = true;
  std::atomic<std::int64_t> m_since = 0;  // of the action, while it is watched
  std::atomic<std::uint32_t> m_thread = 0;
};

}  // namespace corvane
