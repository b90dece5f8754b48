#include "corvane/core/MasterTimer.h"

#include <algorithm>
#include <string>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/SharedInstance.h"
#include "corvane/platform/PreciseTimers.h"

namespace corvane {

namespace {

// An entry due within this time counts as due, so that no wait is shorter than a microsecond.
constexpr std::int64_t TOLERANCE_NSEC = 999;

// Due repeaters run on the main queue in one go for about this long at a time: going there for each alone would cost
// many times what a short task does, and going there for all would keep other work out for too long.
constexpr std::int64_t SLICE_NSEC = 1'000'000;

}  // namespace

std::shared_ptr<MasterTimer> MasterTimer::instance() {
  return SharedInstance<MasterTimer>::get();
}

void MasterTimer::setInstance(std::shared_ptr<MasterTimer> timer) {
  SharedInstance<MasterTimer>::set(std::move(timer));
}

MasterTimer::~MasterTimer() {
  stop();
}

void MasterTimer::start() {
  const auto self = weak_from_this().lock();
  if (!self) fatal("MasterTimer::start: the timer is not held by a std::shared_ptr");
  MutexLock lock(Repeater::s_mutex);
  if (!m_sleepnotify) {
    m_sleepnotify = std::make_unique<SleepNotify>([weak = weak_from_this()](const Notification& notification) {
      if (const auto timer = weak.lock()) timer->sleepListener(notification);
    });
  }
  if (m_running) return;
  m_running = true;
  m_thread.start(self, [generation = ++m_generation](const std::any& context) {
    if (const auto* timer = std::any_cast<std::shared_ptr<MasterTimer>>(&context)) (*timer)->loop(generation);
  });
}

void MasterTimer::stop() {
  Dropped dropped;
  std::unique_ptr<SleepNotify> notify;
  MutexLock lock(Repeater::s_mutex);
  notify = std::move(m_sleepnotify);
  if (notify) notify->deregister();
  dropped = clear();
  m_running = false;
  m_sleeping = false;
  m_thread.stop();
  Repeater::s_mutex.broadcast();
}

std::vector<Repeater::repeater_stats> MasterTimer::repeaterStats() const {
  std::vector<Repeater::repeater_stats> stats;
  MutexLock lock(Repeater::s_mutex);
  stats.reserve(m_ran.size() + m_repeaters.size() + m_added.size());
  forEach([&stats](const Repeater& repeater)
              CORVANE_REQUIRES(Repeater::s_mutex) { stats.push_back(repeater.m_stats); });
  return stats;
}

void MasterTimer::add(const std::shared_ptr<Repeater>& repeater) {
  Dropped dropped;
  MutexLock lock(Repeater::s_mutex);
  if (repeater->m_timer && repeater->m_timer != this) dropped = repeater->m_timer->removeLocked(*repeater);
  addLocked(repeater);
}

void MasterTimer::setTimeConstant(double seconds) {
  MutexLock lock(Repeater::s_mutex);
  forEach([seconds](Repeater& repeater) CORVANE_REQUIRES(Repeater::s_mutex) { repeater.m_time_constant = seconds; });
}

void MasterTimer::resetStats() {
  MutexLock lock(Repeater::s_mutex);
  const Timeval now;
  forEach([now](Repeater& repeater) CORVANE_REQUIRES(Repeater::s_mutex) { repeater.resetStats(now); });
}

template <class Visit>
void MasterTimer::forEach(Visit&& visit) const {
  // An entry that ran and was stopped meanwhile is still in m_ran.
  for (const auto& entry : m_ran)
    if (std::ranges::count(entry.mapped()->m_slots, entry.key()) != 0) visit(*entry.mapped());
  for (const auto& entry : m_repeaters) visit(*entry.second);
  for (const auto& repeater : m_added) visit(*repeater);
}

void MasterTimer::addLocked(std::shared_ptr<Repeater> repeater) {
  repeater->m_timer = this;
  m_added.push_back(std::move(repeater));
  Repeater::s_mutex.broadcast();
}

MasterTimer::Dropped MasterTimer::removeLocked(Repeater& repeater) {
  Dropped dropped;
  // An entry in m_ran is dropped by sort(), which finds that the repeater has given up the place.
  for (const Slot& slot : repeater.m_slots)
    if (auto entry = m_repeaters.extract(slot)) dropped.ran.push_back(std::move(entry));
  repeater.m_slots.clear();
  repeater.m_timer = nullptr;
  for (auto& added : m_added)
    if (added.get() == &repeater) dropped.added.push_back(std::move(added));
  std::erase(m_added, nullptr);
  Repeater::s_mutex.broadcast();
  return dropped;
}

MasterTimer::Dropped MasterTimer::clear() {
  forEach([](Repeater& repeater) CORVANE_REQUIRES(Repeater::s_mutex) {
    repeater.m_slots.clear();
    repeater.m_timer = nullptr;
  });
  return {std::exchange(m_repeaters, {}), std::exchange(m_ran, {}), std::exchange(m_added, {})};
}

// Brings the order up to date: entries whose repeater has another due time than their place says move, new ones are
// appended. Among entries due at the same time the result is that of a stable sort of the list: one that moved to a
// later time came from in front of the others, one that moved to an earlier time from behind them.
void MasterTimer::sort() {
  if (m_ran.empty() && m_added.empty()) return;
  std::vector<Slot> stale;
  const auto collect = [&stale](const Repeater& repeater) CORVANE_REQUIRES(Repeater::s_mutex) {
    for (const Slot& slot : repeater.m_slots)
      if (slot.due != repeater.nextRun()) stale.push_back(slot);
  };
  for (const auto& entry : m_ran)
    if (entry.mapped()->m_slots.size() > 1) collect(*entry.mapped());
  for (const auto& repeater : m_added) collect(*repeater);
  std::ranges::sort(stale);

  for (const Slot& slot : stale)
    if (auto entry = m_repeaters.extract(slot)) m_ran.push_back(std::move(entry));
  // Backwards, because each takes the place in front of those before it.
  for (auto entry = m_ran.rbegin(); entry != m_ran.rend(); ++entry) {
    auto& slots = entry->mapped()->m_slots;
    const auto registered = std::ranges::find(slots, entry->key());
    const Timeval due = entry->mapped()->nextRun();
    if (registered == slots.end())
      m_released.push_back(std::move(entry->mapped()));  // removed while it ran
    else if (due > entry->key().due)
      *registered = entry->key() = {due, --m_first_rank};
  }
  for (auto& entry : m_ran) {
    if (!entry.mapped()) continue;
    if (const Timeval due = entry.mapped()->nextRun(); due < entry.key().due) {
      const auto registered = std::ranges::find(entry.mapped()->m_slots, entry.key());
      *registered = entry.key() = {due, ++m_last_rank};
    }
    m_repeaters.insert(m_repeaters.end(), std::move(entry));  // most often the place is near the end
  }
  m_ran.clear();
  for (auto& repeater : m_added) {
    const Slot slot{repeater->nextRun(), ++m_last_rank};
    repeater->m_slots.push_back(slot);
    m_repeaters.emplace(slot, std::move(repeater));
  }
  m_added.clear();
}

bool MasterTimer::mayRun(std::uint64_t generation) const {
  return m_running && m_generation == generation;
}

void MasterTimer::loop(std::uint64_t generation) {
  const PreciseTimers precise;
  MutexLock lock(Repeater::s_mutex);
  while (mayRun(generation)) {
    sort();
    if (!m_released.empty()) {
      auto released = std::exchange(m_released, {});
      lock.unlock();
      released.clear();
      lock.lock();
      continue;
    }
    if (m_sleeping || m_repeaters.empty()) {
      Repeater::s_mutex.wait(COND_WAIT_FOREVER);
      continue;
    }
    const Timeval due = m_repeaters.begin()->second->nextRun();
    if ((due - Timeval()).nsec() > TOLERANCE_NSEC) {
      Repeater::s_mutex.waituntil(due.tv());
      continue;
    }
    lock.unlock();
    bool more = true;
    while (more) main_sync([this, generation, &more] { more = runSlice(generation); });
    lock.lock();
  }
}

// Runs due entries from the front, on the main queue; true if time ran out before the end of the walk. Each entry runs
// once at most in a walk, because it stays out of the order until the next sort.
bool MasterTimer::runSlice(std::uint64_t generation) {
  MutexLock lock(Repeater::s_mutex);
  const Timeval begin;
  Timeval now = begin;
  while (mayRun(generation) && !m_sleeping && !m_repeaters.empty()) {
    const auto first = m_repeaters.begin();
    if ((first->second->nextRun() - now).nsec() > TOLERANCE_NSEC) return false;
    if ((now - begin).nsec() > SLICE_NSEC) return true;
    const auto repeater = first->second;
    m_ran.push_back(m_repeaters.extract(first));
    now = repeater->run(lock, now);
  }
  return false;
}

void MasterTimer::sleepListener(const Notification& notification) {
  if (notification.name == WILL_SLEEP) {
    {
      MutexLock lock(Repeater::s_mutex);
      m_sleeping = true;
      Repeater::s_mutex.broadcast();
    }
    logLine("MasterTimer: Going to sleep");
  } else if (notification.name == SCREENS_DID_SLEEP) {
    logLine("MasterTimer: Screens going to sleep");
  } else if (notification.name == DID_WAKE || notification.name == SCREENS_DID_WAKE) {
    const std::string who = notification.name == DID_WAKE ? "MasterTimer: Woke up" : "MasterTimer: Screens woke up";
    logLine(who + " - restart repeaters");
    restart();
    logLine(who + " - reset stats");
    resetStats();
  }
}

// After a sleep everything is due now, in the order of the list.
void MasterTimer::restart() {
  MutexLock lock(Repeater::s_mutex);
  if (!m_sleeping) return;
  const Timeval now;
  forEach([now](Repeater& repeater) CORVANE_REQUIRES(Repeater::s_mutex) { repeater.m_next_run = now; });
  Order order;
  while (!m_repeaters.empty()) {
    auto entry = m_repeaters.extract(m_repeaters.begin());
    const auto registered = std::ranges::find(entry.mapped()->m_slots, entry.key());
    *registered = entry.key() = {now, ++m_last_rank};
    order.insert(order.end(), std::move(entry));
  }
  m_repeaters = std::move(order);
  m_sleeping = false;
  Repeater::s_mutex.broadcast();
}

}  // namespace corvane
