#pragma once

#include <memory>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/core/PThread.h"
#include "corvane/core/Repeater.h"
#include "corvane/core/SleepNotify.h"
#include "corvane/platform/Export.h"

namespace corvane {

class Schedule;

/// The one scheduler behind every Repeater: a thread that waits until the earliest is due and then has the due ones run
/// on the main queue, one at a time, in the order of their due times; equal ones in the order in which they were added.
///
/// The application starts the shared timer once, normally at launch, and runs a main loop; repeaters added before wait.
/// While the machine sleeps nothing runs; on wake every repeater runs at once with fresh statistics, and each step is
/// logged (on standard error if the application keeps no log). Waiting takes no processor time. Due times lie on the
/// real-time clock: setting the system's time moves them.
///
/// Every member: any thread, also from inside a task. Hold it by std::shared_ptr.
class CORVANE_API MasterTimer : public std::enable_shared_from_this<MasterTimer> {
 public:
  /// The shared timer, which Repeater::start() registers with. Made on first use, never destroyed.
  static std::shared_ptr<MasterTimer> instance();

  /// Puts another in its place: repeaters started from then on register there. One that is registered with another
  /// timer stays there until it is stopped or started again.
  static void setInstance(std::shared_ptr<MasterTimer> timer);

  MasterTimer();
  ~MasterTimer();
  MasterTimer(const MasterTimer&) = delete;
  MasterTimer& operator=(const MasterTimer&) = delete;

  /// Starts the timer thread and listens for sleep and wake; returns once the thread runs. Nothing happens if it is
  /// started already. Fatal if no shared_ptr holds the timer.
  void start();

  /// Ends the thread and drops every repeater; does not wait for a run in progress. The repeaters' own `running` stays
  /// as it is.
  void stop();

  /// A copy of every entry's statistics, in the current order of their due times; a repeater that was added twice is
  /// listed twice.
  std::vector<Repeater::repeater_stats> repeaterStats() const;

  /// Appends a repeater; Repeater::start() does. Entries are not tested for duplicates. Fatal later, in the timer
  /// thread, if the repeater was never started and so has no due time.
  void add(const std::shared_ptr<Repeater>& repeater);

  /// Sets the averaging time constant, in seconds, of every registered repeater.
  void setTimeConstant(double seconds);

  /// Resets the statistics of every registered repeater, as a wake does.
  void resetStats();

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
