#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "corvane/core/WeightedStats.h"
#include "corvane/platform/Export.h"

namespace corvane {

struct ScheduleEntry;

/// A named task that runs periodically on the main queue and keeps statistics of its runs.
///
/// **Which one to choose.** A Repeater for periodic work on the main queue: this is the usual case, and ten thousand of
/// them use one thread. A TimerQueue for a cadence without drift, or off the main queue. main_after() and
/// DispatchQueueSerial::after() for work that runs once, later. A DispatchQueueSerial for work that is to be done now,
/// off the main queue. A PThread for a long-running loop of your own, or one that blocks.
///
/// Repeaters run while the shared MasterTimer does; the application must start that timer once. (If a main loop runs
/// without it while repeaters wait, this is logged once.) Periods that are missed because the task or the main queue
/// was busy, or because the machine slept, are skipped and not made up for: a late run keeps the phase if it can;
/// otherwise the next run comes one interval after the late start. While the task runs it delays every other repeater
/// and the user interface, so it must be short; it must not throw. Repeaters that are due together run in one item of
/// the main queue, for up to a millisecond: work that one of them posts there runs after the others.
///
/// Hold it by std::shared_ptr. While it is started the timer holds it too, and stop() keeps the task for the lifetime
/// of the repeater. A task should therefore refer to its own repeater weakly: one that holds a shared_ptr to it is
/// never freed. The captures of a replaced task or a dropped repeater are destroyed on the thread that replaced or
/// stopped it, or on the main queue after the run in progress.
///
///     auto tick = std::make_shared<corvane::Repeater>("tick");
///     tick->start(1.0, [] { std::puts("tick"); });
///
/// Every member: any thread, including from inside the task.
class CORVANE_API Repeater : public std::enable_shared_from_this<Repeater> {
 public:
  /// Statistics of the runs since start() or since the machine last woke. Times are in microseconds.
  struct repeater_stats {
    std::string name;              ///< the repeater's name
    std::int64_t count = 0;        ///< completed runs
    double total_elapsed = 0;      ///< sum of the durations
    WeightedStats elapsed_stats;   ///< duration of a run
    WeightedStats interval_stats;  ///< time between the starts of consecutive runs; begins with the nominal interval
  };

  /// A stopped repeater with a human-readable name.
  explicit Repeater(std::string ident);

  /// Not available, because a repeater needs a name: fatal.
  [[noreturn]] Repeater();

  ~Repeater();
  Repeater(const Repeater&) = delete;
  Repeater& operator=(const Repeater&) = delete;

  /// Runs `closure_funct` at once (as soon as the timer gets to it) and then every `interval` seconds; resets the
  /// statistics. An empty callable is neither run nor counted. Starting a running repeater restarts it and registers it
  /// once more: it is then in the timer's list twice, but still runs once for each due time. A restart from inside the
  /// task takes effect with the new interval after the current run. An interval of zero or less is logged and runs
  /// every millisecond. Fatal: a repeater that is not held by a shared_ptr; at the first run, an interval that is not
  /// finite or exceeds 292 years.
  void start(double interval, std::function<void()> closure_funct);

  /// Removes the repeater from the timer. If called on the main queue, the task does not run any more. If called on
  /// another thread, a run that has begun may still be in progress.
  void stop();

  /// The seconds between runs, as they were set. A change takes effect when the repeater is next rescheduled, after the
  /// next run.
  double interval() const;
  void setInterval(double interval);

  /// True between start() and stop().
  bool running() const;

  /// The time constant of the averages in the statistics, in seconds; 10 for a new repeater.
  double timeConstant() const;

  const std::string& ident() const;  ///< its name

  /// For MasterTimer: the entry of this repeater in its schedule, which lives as long as the repeater.
  std::shared_ptr<ScheduleEntry> entry();

 private:
  const std::unique_ptr<ScheduleEntry> m_entry;
};

}  // namespace corvane
