#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/core/Repeater.h"
#include "corvane/core/SortedChunks.h"
#include "corvane/core/Timeval.h"
#include "corvane/core/WeightedStats.h"
#include "corvane/platform/DiagnosticsPort.h"

namespace corvane {

class Schedule;

/// The data that a schedule keeps of a repeater. Guarded by Schedule::s_mutex, except for name and id. The members that
/// a run uses come first, close together.
struct alignas(64) ScheduleEntry {
  explicit ScheduleEntry(std::string ident);

  Timeval step() const;  // from one due time to the next
  Repeater::repeater_stats stats() const;
  RepeaterState state() const;
  void resetStats(Timeval now);
  void setRate(double seconds, double constant);

  Timeval due = Timeval::nsec(0);       // the next run
  Timeval last_run = Timeval::nsec(0);  // the start of the last one
  double interval = 0;
  double weight = 0;  // of a sample in the statistics
  std::shared_ptr<const std::function<void()>> task;
  std::uint32_t inRun = 0;  // runs in progress; more than one if the task runs a main loop of its own
  bool started = false;     // it has a due time
  bool running = false;
  std::int64_t count = 0;
  double total_elapsed = 0;
  WeightedStats elapsed_stats;
  WeightedStats interval_stats;

  double time_constant = 0;
  std::vector<std::uint32_t> listings;                // its indexes in the schedule, one for each time it was added
  Schedule* schedule = nullptr;                       // the one it is registered with
  std::vector<std::shared_ptr<const void>> released;  // replaced during a run, which may still need it
  const std::string name;
  const std::uint64_t id;  // counts the repeaters of the process
  bool paused = false;     // taken out by setPaused(): neither the program nor the task knows
};

/// The repeaters of one MasterTimer in the order of their due times, and the loop that runs them. It behaves like a
/// list that is stably sorted by due time before every walk.
class Schedule : public std::enable_shared_from_this<Schedule> {
 public:
  using EntryPtr = std::shared_ptr<ScheduleEntry>;

  // One lock for all schedules and their entries, so that a repeater may move from one to another. Its condition wakes
  // every timer thread. Never destroyed, because threads may wait on it while the process exits.
  static Mutex& s_mutex;

  Schedule() = default;
  Schedule(const Schedule&) = delete;
  Schedule& operator=(const Schedule&) = delete;

  /// Adds an entry that is due now, with fresh statistics.
  void start(EntryPtr entry, double interval, std::function<void()> task) CORVANE_EXCLUDES(s_mutex);

  /// Appends an entry, removing it from any other schedule. An entry that is already listed is listed once more.
  void add(EntryPtr entry) CORVANE_EXCLUDES(s_mutex);

  /// Removes an entry from its schedule, if it has one.
  static void stop(ScheduleEntry& entry) CORVANE_EXCLUDES(s_mutex);

  std::vector<Repeater::repeater_stats> stats() CORVANE_EXCLUDES(s_mutex);
  void resetStats() CORVANE_EXCLUDES(s_mutex);
  void setTimeConstant(double seconds) CORVANE_EXCLUDES(s_mutex);

  /// For diagnostics: every repeater once, in the order of their ids, including paused ones; and stops one for the time
  /// being, or lets it run again with fresh statistics. False if there is none with this id.
  std::vector<RepeaterState> states() CORVANE_EXCLUDES(s_mutex);
  bool setPaused(std::uint64_t id, bool paused) CORVANE_EXCLUDES(s_mutex);

  /// Allows a thread to serve; returns the number to pass to serve(), or 0 if a thread is already allowed to.
  std::uint64_t open() CORVANE_EXCLUDES(s_mutex);

  /// Ends serve() without waiting and drops every entry; the caller destroys them without a lock.
  [[nodiscard]] std::vector<EntryPtr> close() CORVANE_EXCLUDES(s_mutex);

  /// True if entries wait in vain because no thread serves them.
  bool isForgotten() const CORVANE_EXCLUDES(s_mutex);

  /// The timer thread: waits until the first entry is due and has the due ones run on the main queue, until close().
  void serve(std::uint64_t generation) CORVANE_EXCLUDES(s_mutex);

  /// While the machine sleeps nothing runs; afterwards everything is due.
  void suspend() CORVANE_EXCLUDES(s_mutex);
  void resume() CORVANE_EXCLUDES(s_mutex);

 private:
  struct Listing {
    EntryPtr entry = nullptr;        // null: the listing is free
    Timeval due = Timeval::nsec(0);  // its due time in the order
    std::int64_t rank = 0;           // orders listings that are due at the same time; 0 if it has no place yet
    bool waiting = false;            // whether it is in the order; false from its run to the next sort
  };

  // A place in the order. It is not searched for when its listing gives it up: ranks are never reused, so a place whose
  // listing has another rank is void.
  struct Place {
    Timeval due;
    std::int64_t rank;
    std::uint32_t index;
    auto operator<=>(const Place&) const = default;
  };

  friend struct DueRepeaters;

  void addLocked(EntryPtr entry) CORVANE_REQUIRES(s_mutex);
  std::vector<EntryPtr> pausedOnes() CORVANE_REQUIRES(s_mutex);
  static EntryPtr removeLocked(ScheduleEntry& entry) CORVANE_REQUIRES(s_mutex);
  Listing* at(const Place& place) CORVANE_REQUIRES(s_mutex);
  Listing* front() CORVANE_REQUIRES(s_mutex);
  void insert(std::uint32_t index, std::int64_t rank) CORVANE_REQUIRES(s_mutex);
  std::optional<Timeval> nextDue() CORVANE_REQUIRES(s_mutex);
  void sort() CORVANE_REQUIRES(s_mutex);
  void takeMoved() CORVANE_REQUIRES(s_mutex);
  bool mayRun(std::uint64_t generation) const CORVANE_REQUIRES(s_mutex);
  void postSlice(std::uint64_t generation) CORVANE_EXCLUDES(s_mutex);
  void runSlice(std::uint64_t generation) CORVANE_EXCLUDES(s_mutex);
  bool walk(MutexLock& lock, std::uint64_t generation) CORVANE_REQUIRES(s_mutex);
  static Timeval run(MutexLock& lock, ScheduleEntry& entry, Timeval start) CORVANE_REQUIRES(s_mutex);

  // The list in three parts: the listings in order of due time; those that ran in the current walk, which were in front
  // of them; and those added since the last sort, which come after them.
  SortedChunks<Place> m_order CORVANE_GUARDED_BY(s_mutex);
  std::vector<Place> m_ran CORVANE_GUARDED_BY(s_mutex);
  std::vector<std::uint32_t> m_added CORVANE_GUARDED_BY(s_mutex);
  std::vector<Listing> m_listings CORVANE_GUARDED_BY(s_mutex);                     // by index
  std::vector<std::uint32_t> m_free CORVANE_GUARDED_BY(s_mutex);                   // the indexes of free listings
  std::vector<std::weak_ptr<ScheduleEntry>> m_paused CORVANE_GUARDED_BY(s_mutex);  // some may not be paused any more
  std::size_t m_void CORVANE_GUARDED_BY(s_mutex) = 0;                              // void places in the order
  std::int64_t m_first_rank CORVANE_GUARDED_BY(s_mutex) = 0;                       // the lowest rank given out
  std::int64_t m_last_rank CORVANE_GUARDED_BY(s_mutex) = 0;                        // the highest rank given out

  bool m_open CORVANE_GUARDED_BY(s_mutex) = false;
  bool m_sleeping CORVANE_GUARDED_BY(s_mutex) = false;
  bool m_walking CORVANE_GUARDED_BY(s_mutex) = false;  // the main queue is running the due entries or is about to
  std::optional<Timeval> m_wait_end CORVANE_GUARDED_BY(s_mutex);  // when the timer thread wakes by itself
  std::uint64_t m_generation CORVANE_GUARDED_BY(s_mutex) = 0;     // of the thread that may serve
};

}  // namespace corvane
