#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/core/PThread.h"
#include "corvane/core/Repeater.h"
#include "corvane/core/SleepNotify.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Export.h"

namespace corvane {

class Schedule;

/// The scheduler behind every Repeater: a thread that waits until the earliest one is due and then has the due ones run
/// on the main queue, one at a time, in the order of their due times. Repeaters with equal due times run in the order
/// in which they were added.
///
/// The application starts the shared timer once, normally at launch, and runs a main loop; repeaters added before that
/// wait. While the machine sleeps nothing runs; on wake every repeater runs at once with fresh statistics. Each step is
/// logged (on standard error if the application has no log). Waiting takes no processor time. Due times follow the
/// real-time clock: setting the system's time shifts them.
///
/// Every member: any thread, including from inside a task. Hold it by std::shared_ptr.
class CORVANE_API MasterTimer : public std::enable_shared_from_this<MasterTimer> {
 public:
  /// The shared timer, with which Repeater::start() registers. Created on first use, never destroyed.
  static std::shared_ptr<MasterTimer> instance();

  /// Replaces the shared timer: repeaters started from then on register with the new one. A repeater registered with
  /// the old timer stays there until it is stopped or restarted.
  static void setInstance(std::shared_ptr<MasterTimer> timer);

  MasterTimer();
  ~MasterTimer();
  MasterTimer(const MasterTimer&) = delete;
  MasterTimer& operator=(const MasterTimer&) = delete;

  /// Starts the timer thread and listens for sleep and wake; returns once the thread runs. Does nothing if it has
  /// already been started. Fatal if the timer is not held by a shared_ptr.
  void start();

  /// Ends the thread and drops every repeater; does not wait for a run in progress. running() of the repeaters does not
  /// change.
  void stop();

  /// A copy of every entry's statistics, in the current order of their due times; a repeater that was added twice is
  /// listed twice.
  std::vector<Repeater::repeater_stats> repeaterStats() const;

  /// Appends a repeater; called by Repeater::start(). Duplicates are not checked for. If the repeater was never
  /// started, and so has no due time, this is fatal later, on the timer thread.
  void add(const std::shared_ptr<Repeater>& repeater);

  /// Sets the averaging time constant, in seconds, of every registered repeater, paused ones included.
  void setTimeConstant(double seconds);

  /// Resets the statistics of the same repeaters, as a wake does.
  void resetStats();

  /// For diagnostics: what every repeater does, once each, in the order of their ids, including those that setPaused()
  /// stopped.
  std::vector<RepeaterState> repeaterStates() const;

  /// Takes a repeater out for the time being, which neither it nor its owner notices, or lets it run again with fresh
  /// statistics; false if there is none with this id. One that its owner starts or stops meanwhile is not paused any
  /// more.
  bool setPaused(std::uint64_t id, bool paused);

  /// For Repeater: the order of the repeaters.
  Schedule& schedule() { return *m_schedule; }

 private:
  void sleepListener(const Notification& notification);

  const std::shared_ptr<Schedule> m_schedule;
  Mutex m_mutex;
  PThread m_thread CORVANE_GUARDED_BY(m_mutex);
  std::unique_ptr<SleepNotify> m_sleepnotify CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
