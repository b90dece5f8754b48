#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "corvane/core/PThread.h"
#include "corvane/core/Repeater.h"
#include "corvane/core/SleepNotify.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// The one scheduler behind every Repeater: a thread that waits until the earliest is due and then has the due ones run
/// on the main queue, one at a time, in the order of their due times; equal ones in the order in which they were added.
///
/// The application starts the shared timer once, normally at launch, and runs a main loop; repeaters added before wait.
/// While the machine sleeps nothing runs; on wake every repeater runs at once with fresh statistics, and each step is
/// logged. Waiting takes no processor time. Due times lie on the real-time clock: setting the system's time moves them.
///
/// Every member: any thread, also from inside a task. Hold it by std::shared_ptr.
class CORVANE_API MasterTimer : public std::enable_shared_from_this<MasterTimer> {
 public:
  /// The shared timer, which Repeater::start() registers with. Made on first use, never destroyed.
  static std::shared_ptr<MasterTimer> instance();

  /// Puts another in its place: repeaters started from then on register there. One that is registered with another
  /// timer stays there until it is stopped or started again.
  static void setInstance(std::shared_ptr<MasterTimer> timer);

  MasterTimer() = default;
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

 private:
  friend class Repeater;
  using Slot = Repeater::Slot;
  using Order = std::map<Slot, std::shared_ptr<Repeater>>;

  /// References to drop once the lock is given up: a task's captured objects may call back when they are destroyed.
  struct Dropped {
    Order repeaters;
    std::vector<Order::node_type> ran;
    std::vector<std::shared_ptr<Repeater>> added;
  };

  void addLocked(std::shared_ptr<Repeater> repeater) CORVANE_REQUIRES(Repeater::s_mutex);
  Dropped removeLocked(Repeater& repeater) CORVANE_REQUIRES(Repeater::s_mutex);
  Dropped clear() CORVANE_REQUIRES(Repeater::s_mutex);

  void loop(std::uint64_t generation) CORVANE_EXCLUDES(Repeater::s_mutex);
  bool mayRun(std::uint64_t generation) const CORVANE_REQUIRES(Repeater::s_mutex);
  bool runSlice(std::uint64_t generation) CORVANE_EXCLUDES(Repeater::s_mutex);
  void sort() CORVANE_REQUIRES(Repeater::s_mutex);
  void sleepListener(const Notification& notification);
  void restart();

  template <class Visit>
  void forEach(Visit&& visit) const CORVANE_REQUIRES(Repeater::s_mutex);

  // The list of repeaters, in three pieces: the entries in order of due time; those that ran in the current walk, which
  // stood in front of them; and those added since the last sort, which stand behind. The list is sorted when the second
  // and third are empty.
  Order m_repeaters CORVANE_GUARDED_BY(Repeater::s_mutex);
  std::vector<Order::node_type> m_ran CORVANE_GUARDED_BY(Repeater::s_mutex);
  std::vector<std::shared_ptr<Repeater>> m_added CORVANE_GUARDED_BY(Repeater::s_mutex);
  std::vector<std::shared_ptr<Repeater>> m_released CORVANE_GUARDED_BY(Repeater::s_mutex);
  std::int64_t m_first_rank CORVANE_GUARDED_BY(Repeater::s_mutex) = 0;  // the lowest rank given out
  std::int64_t m_last_rank CORVANE_GUARDED_BY(Repeater::s_mutex) = 0;   // the highest

  PThread m_thread CORVANE_GUARDED_BY(Repeater::s_mutex);
  bool m_running CORVANE_GUARDED_BY(Repeater::s_mutex) = false;
  bool m_sleeping CORVANE_GUARDED_BY(Repeater::s_mutex) = false;
  std::uint64_t m_generation CORVANE_GUARDED_BY(Repeater::s_mutex) = 0;  // of the thread that may run repeaters
  std::unique_ptr<SleepNotify> m_sleepnotify CORVANE_GUARDED_BY(Repeater::s_mutex);
};

}  // namespace corvane
