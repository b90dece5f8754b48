#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "corvane/core/WeightedStats.h"
#include "corvane/platform/Export.h"

namespace corvane {

struct ScheduleEntry;

/// A named task that runs every so many seconds on the main queue, and keeps statistics of itself.
///
/// **Which one to choose.** A Repeater for periodic work of the application: the usual case, and ten thousand cost one
/// thread. A TimerQueue for a cadence without drift, or off the main queue. main_after() and
/// DispatchQueueSerial::after() for what happens once, later. A DispatchQueueSerial for work that is to be done now,
/// elsewhere. A PThread for a loop of your own that blocks.
///
/// It runs as long as the shared MasterTimer does; that one must be started once by the application. (A main loop that
/// runs without it while repeaters wait is reported in the log, once.) Periods that were lost, because the task or the
/// main queue was busy or the machine slept, are skipped and not made up: a late run keeps the phase if it can, and
/// otherwise the next one comes an interval after the late start. The task delays every other repeater and the user
/// interface while it runs, so it must be short; it must not throw. Repeaters that are due together run in one item of
/// the main queue, for up to a millisecond: what one of them posts there runs after the others.
///
/// Hold it by std::shared_ptr; while it is started the timer holds it too, and stop() keeps the task for the repeater's
/// lifetime. So a task refers to its own repeater weakly: one that holds a shared_ptr to it is never freed. What a
/// replaced task or a dropped repeater held dies on the thread that replaced or stopped it, or on the main queue after
/// the run in progress.
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

  ~Repeater();
  Repeater(const Repeater&) = delete;
  Repeater& operator=(const Repeater&) = delete;

  /// Runs `closure_funct` at once (as soon as the timer gets to it) and then every `interval` seconds; resets the
  /// statistics. An empty callable is neither run nor counted. Starting a repeater that runs restarts it, and registers
  /// it once more: it then stands in the timer's list twice, but still runs once for each due time. A restart from
  /// inside the task takes effect with the new interval after the current run. An interval of zero or less is reported
  /// in the log and runs every millisecond. Fatal: a repeater that no shared_ptr holds; at the first run, an interval
  /// that is not finite or beyond 292 years.
  void start(double interval, std::function<void()> closure_funct);

  /// Takes the repeater off the timer. From the main queue: the task does not run any more. From another thread, a run
  /// that has begun may still be going on.
  void stop();

  /// Seconds between runs, as it was set. A change counts from the next rescheduling, after the next run.
  double interval() const;
  void setInterval(double interval);

  /// True between start() and stop().
  bool running() const;

  /// Seconds over which the statistics average; 10 for a new repeater.
  double timeConstant() const;

  const std::string& ident() const;

  /// For MasterTimer: what its schedule keeps of this repeater, which lives as long as the repeater.
  std::shared_ptr<ScheduleEntry> entry();

 private:
  const std::unique_ptr<ScheduleEntry> m_entry;
};

}  // namespace corvane
