#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/core/Timeval.h"
#include "corvane/core/WeightedStats.h"
#include "corvane/platform/Export.h"

namespace corvane {

class MasterTimer;

/// A named task that runs every so many seconds on the main queue, and keeps statistics of itself.
///
/// It runs as long as the shared MasterTimer does; that one must be started once by the application. Periods that were
/// lost, because the task or the main queue was busy or the machine slept, are skipped and not made up: a late run
/// keeps the phase if it can, and otherwise the next one comes an interval after the late start. (A TimerQueue makes
/// them up, off the main queue.) The task delays every other repeater and the user interface while it runs, so it must
/// be short; it must not throw. Hold it by std::shared_ptr; while it is started the timer holds it too.
///
///     auto tick = std::make_shared<corvane::Repeater>("tick");
///     tick->start(1.0, [] { std::puts("tick"); });
///
/// Every member: any thread, also from inside the task.
class CORVANE_API Repeater : public std::enable_shared_from_this<Repeater> {
 public:
  /// What a repeater knows of its runs, since start() or the last wake of the machine. Times are in microseconds.
  struct repeater_stats {
    std::string name;              ///< the repeater's name
    std::int64_t count = 0;        ///< completed runs
    double total_elapsed = 0;      ///< sum of the durations
    WeightedStats elapsed_stats;   ///< duration of a run
    WeightedStats interval_stats;  ///< time between the starts of consecutive runs; begins with the nominal interval
  };

  /// A stopped repeater with a name for people.
  explicit Repeater(std::string ident);

  /// Not available: a repeater has a name. Fatal.
  [[noreturn]] Repeater();

  Repeater(const Repeater&) = delete;
  Repeater& operator=(const Repeater&) = delete;

  /// Runs `closure_funct` at once (as soon as the timer gets to it) and then every `interval` seconds; resets the
  /// statistics. An empty callable is neither run nor counted. Starting a repeater that runs restarts it, and registers
  /// it once more: it then stands in the timer's list twice, but still runs once for each due time. A restart from
  /// inside the task takes effect with the new interval after the current run. Fatal: a repeater that no shared_ptr
  /// holds; at the first run, an interval that is not finite or beyond 292 years.
  void start(double interval, std::function<void()> closure_funct);

  /// Takes the repeater off the timer. From the main queue: the task does not run any more. From another thread, a run
  /// that has begun may still be going on.
  void stop();

  /// Seconds between runs. A change counts from the next rescheduling, after the next run.
  double interval() const;
  void setInterval(double interval);

  /// True between start() and stop().
  bool running() const;

  /// Seconds over which the statistics average; 10 for a new repeater.
  double timeConstant() const;

  const std::string& ident() const { return m_ident; }

 private:
  friend class MasterTimer;

  // A place in a timer's order. Entries due at the same time go by rank.
  struct Slot {
    Timeval due = Timeval::nsec(0);
    std::int64_t rank = 0;
    auto operator<=>(const Slot&) const = default;
  };

  void resetStats(Timeval now) CORVANE_REQUIRES(s_mutex);

  // One due run, on the main queue, that begins at `start`; gives the lock up while the task runs. Returns its end.
  Timeval run(MutexLock& lock, Timeval start) CORVANE_REQUIRES(s_mutex);

  Timeval nextRun() const CORVANE_REQUIRES(s_mutex);

  // One lock for all repeaters and master timers, so that a repeater may move between timers; never destroyed, because
  // threads may wait on it while the process exits.
  static Mutex& s_mutex;

  const std::string m_ident;
  double m_interval CORVANE_GUARDED_BY(s_mutex) = 0;
  std::shared_ptr<const std::function<void()>> m_func CORVANE_GUARDED_BY(s_mutex);
  std::optional<Timeval> m_next_run CORVANE_GUARDED_BY(s_mutex);
  std::optional<Timeval> m_last_run CORVANE_GUARDED_BY(s_mutex);
  bool m_running CORVANE_GUARDED_BY(s_mutex) = false;
  double m_time_constant CORVANE_GUARDED_BY(s_mutex) = 10;
  repeater_stats m_stats CORVANE_GUARDED_BY(s_mutex);

  MasterTimer* m_timer CORVANE_GUARDED_BY(s_mutex) = nullptr;  // the one it is registered with
  std::vector<Slot> m_slots CORVANE_GUARDED_BY(s_mutex);       // its places there
};

}  // namespace corvane
