#include "corvane/core/Schedule.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <limits>
#include <utility>

#include "corvane/core/Activity.h"
#include "corvane/core/Checked.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/fatal.h"
#include "corvane/platform/PreciseTimers.h"

namespace corvane {

namespace {

// An entry due within this time counts as due, so that no wait is shorter than a microsecond.
constexpr std::int64_t TOLERANCE_NSEC = 999;

// Due repeaters run together in one item of the main queue for about this long: one item for each would cost many times
// as much as a short task, and one item for all would keep other work waiting for too long.
constexpr std::int64_t SLICE_NSEC = 1'000'000;

// Replaces an interval that is not positive, which would leave the main queue no time for other work.
constexpr std::int64_t FLOOR_NSEC = 1'000'000;

// The order may contain this many void places, plus as many as there are valid ones.
constexpr std::size_t VOID_PLACES = 64;

// Prefetches an entry's memory ahead of its run: among thousands it is not in a near cache.
void fetch(const ScheduleEntry* entry) {
  const auto* bytes = reinterpret_cast<const char*>(entry);
  for (std::size_t line = 0; entry && line < offsetof(ScheduleEntry, listings); line += alignof(ScheduleEntry))
    __builtin_prefetch(bytes + line, 1);
}

AverageState averages(const WeightedStats& stats) {
  return {stats.last, stats.smoothed, stats.smoothedSquare, stats.deviation};
}

std::atomic<std::uint64_t> s_ids = 0;

}  // namespace

Mutex& Schedule::s_mutex = *new Mutex;

ScheduleEntry::ScheduleEntry(std::string ident)
    : name(std::move(ident)), id(s_ids.fetch_add(1, std::memory_order_relaxed) + 1) {
  setRate(0, 10);
}

RepeaterState ScheduleEntry::state() const {
  return {.id = id,
          .name = name,
          .interval = interval,
          .timeConstant = time_constant,
          .count = count,
          .totalElapsed = total_elapsed,
          .elapsed = averages(elapsed_stats),
          .period = averages(interval_stats),
          .runningSince = inRun > 0 ? last_run.nsec() : 0,
          .isPaused = paused};
}

Repeater::repeater_stats ScheduleEntry::stats() const {
  return {name, count, total_elapsed, elapsed_stats, interval_stats};
}

void ScheduleEntry::setRate(double seconds, double constant) {
  interval = seconds;
  time_constant = constant;
  weight = WeightedStats::weight(constant, seconds);
}

Timeval ScheduleEntry::step() const {
  const std::int64_t nsec = checkedInt64(interval * 1e9);
  return Timeval::nsec(nsec > 0 ? nsec : FLOOR_NSEC);
}

void ScheduleEntry::resetStats(Timeval now) {
  last_run = now;
  count = 0;
  total_elapsed = 0;
  elapsed_stats = interval_stats = {};
}

void Schedule::start(EntryPtr entry, double interval, std::function<void()> task) {
  std::shared_ptr<const std::function<void()>> shared;
  if (task) shared = std::make_shared<const std::function<void()>>(std::move(task));
  EntryPtr dropped;
  MutexLock lock(s_mutex);
  if (entry->schedule != this) dropped = removeLocked(*entry);
  entry->setRate(interval, entry->time_constant);
  entry->task.swap(shared);
  if (entry->inRun > 0) entry->released.push_back(std::move(shared));
  entry->due = Timeval();
  entry->resetStats(entry->due);
  entry->started = entry->running = true;
  entry->paused = false;
  addLocked(std::move(entry));
}

void Schedule::add(EntryPtr entry) {
  EntryPtr dropped;
  MutexLock lock(s_mutex);
  if (entry->schedule != this) dropped = removeLocked(*entry);
  addLocked(std::move(entry));
}

void Schedule::stop(ScheduleEntry& entry) {
  EntryPtr dropped;
  MutexLock lock(s_mutex);
  dropped = removeLocked(entry);
  entry.running = entry.paused = false;
}

void Schedule::addLocked(EntryPtr entry) {
  if (m_free.empty()) {
    m_free.push_back(static_cast<std::uint32_t>(m_listings.size()));
    m_listings.emplace_back();
  }
  const std::uint32_t index = m_free.back();
  m_free.pop_back();
  m_added.push_back(index);
  entry->schedule = this;
  entry->listings.push_back(index);
  m_listings[index] = {.entry = std::move(entry)};
  s_mutex.broadcast();
}

Schedule::EntryPtr Schedule::removeLocked(ScheduleEntry& entry) {
  Schedule* schedule = std::exchange(entry.schedule, nullptr);
  if (!schedule) return nullptr;
  EntryPtr released;
  for (const std::uint32_t index : entry.listings) {
    Listing listing = std::exchange(schedule->m_listings[index], {});
    if (listing.waiting) ++schedule->m_void;
    if (listing.rank == 0) std::erase(schedule->m_added, index);
    schedule->m_free.push_back(index);
    released = std::move(listing.entry);
  }
  std::vector<std::uint32_t>().swap(entry.listings);  // frees its memory: stopped repeaters may be many
  if (entry.inRun > 0) entry.released.push_back(std::exchange(released, nullptr));
  s_mutex.broadcast();
  return released;
}

std::vector<Repeater::repeater_stats> Schedule::stats() {
  std::vector<Repeater::repeater_stats> stats;
  MutexLock lock(s_mutex);
  stats.reserve(m_listings.size());
  const auto list = [&](const Place& place) CORVANE_REQUIRES(s_mutex) {
    if (const Listing* listing = at(place)) stats.push_back(listing->entry->stats());
  };
  for (const Place& place : m_ran) list(place);
  m_order.forEach(list);
  for (const std::uint32_t index : m_added) stats.push_back(m_listings[index].entry->stats());
  return stats;
}

void Schedule::resetStats() {
  std::vector<EntryPtr> paused;  // perhaps the last references: released after the lock
  MutexLock lock(s_mutex);
  const Timeval now;
  for (const Listing& listing : m_listings)
    if (listing.entry) listing.entry->resetStats(now);
  paused = pausedOnes();
  for (const EntryPtr& entry : paused) entry->resetStats(now);
}

void Schedule::setTimeConstant(double seconds) {
  std::vector<EntryPtr> paused;  // as above
  MutexLock lock(s_mutex);
  for (const Listing& listing : m_listings)
    if (listing.entry) listing.entry->setRate(listing.entry->interval, seconds);
  paused = pausedOnes();
  for (const EntryPtr& entry : paused) entry->setRate(entry->interval, seconds);
}

std::vector<RepeaterState> Schedule::states() {
  std::vector<EntryPtr> paused;  // as above
  std::vector<RepeaterState> states;
  {
    MutexLock lock(s_mutex);
    states.reserve(m_listings.size());
    for (std::uint32_t index = 0; index < m_listings.size(); ++index)
      if (const ScheduleEntry* entry = m_listings[index].entry.get(); entry && entry->listings.front() == index)
        states.push_back(entry->state());
    paused = pausedOnes();
    for (const EntryPtr& entry : paused) states.push_back(entry->state());
  }
  // Usually they are in order already, and ten thousand are not moved for nothing.
  if (!std::ranges::is_sorted(states, {}, &RepeaterState::id)) std::ranges::sort(states, {}, &RepeaterState::id);
  return states;
}

bool Schedule::setPaused(std::uint64_t id, bool paused) {
  EntryPtr dropped;
  std::vector<EntryPtr> resting;
  MutexLock lock(s_mutex);
  resting = pausedOnes();
  if (const auto found = std::ranges::find(resting, id, &ScheduleEntry::id); found != resting.end()) {
    if (paused) return true;
    ScheduleEntry& entry = **found;
    entry.due = Timeval();
    entry.resetStats(entry.due);
    entry.paused = false;
    addLocked(*found);
    return true;
  }
  for (const Listing& listing : m_listings) {
    if (!listing.entry || listing.entry->id != id) continue;
    if (!paused) return true;
    m_paused.emplace_back(listing.entry);
    listing.entry->paused = true;
    dropped = removeLocked(*listing.entry);
    return true;
  }
  return false;
}

// Those that still exist and are still paused.
std::vector<Schedule::EntryPtr> Schedule::pausedOnes() {
  std::vector<EntryPtr> entries;
  for (const auto& weak : m_paused)
    if (auto entry = weak.lock(); entry && entry->paused) entries.push_back(std::move(entry));
  m_paused.assign(entries.begin(), entries.end());
  return entries;
}

std::uint64_t Schedule::open() {
  MutexLock lock(s_mutex);
  return std::exchange(m_open, true) ? 0 : ++m_generation;
}

bool Schedule::isForgotten() const {
  MutexLock lock(s_mutex);
  return !m_open && m_free.size() < m_listings.size();
}

std::vector<Schedule::EntryPtr> Schedule::close() {
  std::vector<EntryPtr> dropped;
  MutexLock lock(s_mutex);
  for (const Listing& listing : m_listings)
    if (listing.entry) dropped.push_back(removeLocked(*listing.entry));
  m_order.takeAll();
  m_ran.clear();
  m_void = 0;
  m_open = m_sleeping = false;
  s_mutex.broadcast();
  return dropped;
}

bool Schedule::mayRun(std::uint64_t generation) const {
  return m_open && m_generation == generation;
}

void Schedule::serve(std::uint64_t generation) {
  const PreciseTimers precise;
  MutexLock lock(s_mutex);
  while (mayRun(generation)) {
    if (!m_walking) sort();
    m_wait_end.reset();
    if (const auto due = m_sleeping ? std::nullopt : nextDue()) {
      if ((*due - Timeval()).nsec() > TOLERANCE_NSEC) {
        m_wait_end = due;
        s_mutex.waituntil(due->tv());
        continue;
      }
      if (!m_walking) {
        m_walking = true;
        m_wait_end = nextDue();  // now, because the walk takes entries out
        lock.unlock();
        postSlice(generation);
        lock.lock();
        if (m_walking && m_wait_end && mayRun(generation)) s_mutex.waituntil(m_wait_end->tv());
        continue;
      }
    }
    s_mutex.wait(COND_WAIT_FOREVER);
  }
}

// When the timer thread must check again. During a walk, which takes what is due now, that is the first later due time,
// or the time at which the first entry will be due again.
std::optional<Timeval> Schedule::nextDue() {
  const Listing* first = front();
  if (!first) return std::nullopt;
  if (!m_walking) return first->entry->due;
  const Timeval now = Timeval() + Timeval::nsec(TOLERANCE_NSEC);
  const Place* later = m_order.above({now, std::numeric_limits<std::int64_t>::max(), 0});
  const Timeval again = first->entry->due + first->entry->step();
  if (again > now && (!later || again < later->due)) return again;
  return later ? std::optional(later->due) : std::nullopt;
}

// The item of the main queue that runs them; its name is shown by diagnostics.
struct DueRepeaters {
  std::shared_ptr<Schedule> schedule;
  std::uint64_t generation;
  void operator()() const { schedule->runSlice(generation); }
};

void Schedule::postSlice(std::uint64_t generation) {
  main_post(DueRepeaters{shared_from_this(), generation});
}

void Schedule::runSlice(std::uint64_t generation) {
  MutexLock lock(s_mutex);
  if (walk(lock, generation)) {
    lock.unlock();
    postSlice(generation);
    return;
  }
  m_walking = false;
  if (mayRun(generation)) sort();
  // The timer thread need not wake only to continue waiting.
  const Listing* first = front();
  if (!mayRun(generation) || (first && (!m_wait_end || first->entry->due < *m_wait_end))) s_mutex.broadcast();
}

// Runs due entries from the front; true if time ran out before the end of the walk. Each entry runs at most once per
// walk, because it stays out of the order until the next sort.
bool Schedule::walk(MutexLock& lock, std::uint64_t generation) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  const Timeval begin;
  Timeval now = begin;
  while (mayRun(generation) && !m_sleeping) {
    Listing* first = front();
    if (!first || (first->entry->due - now).nsec() > TOLERANCE_NSEC) return false;
    if ((now - begin).nsec() > SLICE_NSEC) return true;
    m_ran.push_back(m_order.front());
    m_order.pop();
    first->waiting = false;
    if (!m_order.empty()) fetch(m_listings[m_order.front().index].entry.get());
    now = run(lock, *first->entry, now);
  }
  return false;
}

// The clock is read once before the task, by the caller, and once after it: more readings would only add their own
// cost. The task may restart or stop the repeater: functions that it replaces are kept until it returns, and are
// destroyed without the lock, because their destructors may call back.
Timeval Schedule::run(MutexLock& lock, ScheduleEntry& entry, Timeval start) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  Timeval end = start;
  ++entry.inRun;
  if (entry.task) {
    if (entry.count == 0)
      entry.interval_stats = WeightedStats::seeded(entry.interval * 1e6);
    else
      entry.interval_stats.fold(static_cast<double>((start - entry.last_run).usec()), entry.weight);
    entry.last_run = start;
    const auto& task = *entry.task;  // read under the lock: a restart puts another in its place
    lock.unlock();
    task();
    lock.lock();
    end = Timeval();
    if (Activity::isOn()) [[unlikely]]
      Activity::note(Activity::Kind::REPEATER, start.nsec(), end.nsec(), entry.name);
    const auto duration = static_cast<double>((end - start).usec());
    entry.total_elapsed += duration;
    if (entry.count == 0)
      entry.elapsed_stats = WeightedStats::seeded(duration);
    else
      entry.elapsed_stats.fold(duration, entry.weight);
    entry.count += 1;
  }
  entry.due = entry.due + entry.step();
  if (entry.due < start) entry.due = start + entry.step();
  if (--entry.inRun == 0 && !entry.released.empty()) {
    auto released = std::exchange(entry.released, {});
    lock.unlock();
    released.clear();
    lock.lock();
  }
  return end;
}

// The listing of a place; null if it is void.
Schedule::Listing* Schedule::at(const Place& place) {
  Listing& listing = m_listings[place.index];
  return listing.entry && listing.rank == place.rank ? &listing : nullptr;
}

// The first listing of the order; null if there is none.
Schedule::Listing* Schedule::front() {
  for (; !m_order.empty(); m_order.pop(), --m_void)
    if (Listing* listing = at(m_order.front())) return listing;
  return nullptr;
}

void Schedule::insert(std::uint32_t index, std::int64_t rank) {
  Listing& listing = m_listings[index];
  listing.due = listing.entry->due;
  listing.rank = rank;
  listing.waiting = true;
  m_order.insert({listing.due, rank, index});
}

// Updates the order: listings whose entry's due time differs from that of their place are moved, and new ones are
// appended. Among entries due at the same time the result is that of a stable sort of the list: an entry that moved to
// a later time came from before the others, and one that moved to an earlier time from after them.
void Schedule::sort() {
  if (m_ran.empty() && m_added.empty()) return;
  takeMoved();
  // Backwards, because each is inserted in front of the previous one.
  for (auto place = m_ran.rbegin(); place != m_ran.rend(); ++place)
    if (Listing* listing = at(*place); listing && listing->entry->due > place->due)
      place->rank = listing->rank = --m_first_rank;
  for (const Place& place : m_ran)
    if (const Listing* listing = at(place))
      insert(place.index, listing->entry->due < place.due ? ++m_last_rank : place.rank);
  m_ran.clear();
  for (const std::uint32_t index : m_added) {
    if (!m_listings[index].entry->started) fatal("Repeater: a registered repeater has no due time");
    insert(index, ++m_last_rank);
  }
  m_added.clear();
  if (m_void > m_order.size() / 2 + VOID_PLACES) {
    for (const Place& place : m_order.takeAll())
      if (at(place)) m_order.insert(place);
    m_void = 0;
  }
}

// If an entry that ran is listed more than once, or was restarted, its other listings leave the order too. They were
// after those that ran.
void Schedule::takeMoved() {
  const std::size_t ran = m_ran.size();
  const auto take = [this](const ScheduleEntry& entry) CORVANE_REQUIRES(s_mutex) {
    for (const std::uint32_t index : entry.listings) {
      Listing& listing = m_listings[index];
      if (!listing.waiting || listing.due == entry.due) continue;
      m_ran.push_back({listing.due, listing.rank, index});
      listing.waiting = false;
      ++m_void;
    }
  };
  for (std::size_t i = 0; i < ran; ++i)
    if (const Listing* listing = at(m_ran[i]); listing && listing->entry->listings.size() > 1) take(*listing->entry);
  for (const std::uint32_t index : m_added) take(*m_listings[index].entry);
  std::sort(m_ran.begin() + static_cast<std::ptrdiff_t>(ran), m_ran.end());
}

void Schedule::suspend() {
  MutexLock lock(s_mutex);
  m_sleeping = true;
  s_mutex.broadcast();
}

// After a sleep everything is due now, in the order of the list.
void Schedule::resume() {
  MutexLock lock(s_mutex);
  if (!m_sleeping) return;
  m_sleeping = false;
  const Timeval now;
  for (const Listing& listing : m_listings)
    if (listing.entry) listing.entry->due = now;
  for (const Place& place : m_order.takeAll())
    if (at(place)) insert(place.index, ++m_last_rank);
  m_void = 0;
  s_mutex.broadcast();
}

}  // namespace corvane
