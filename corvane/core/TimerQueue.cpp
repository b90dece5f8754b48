#include "corvane/core/TimerQueue.h"

#include <algorithm>

#include "corvane/core/Activity.h"
#include "corvane/core/Checked.h"
#include "corvane/core/Clock.h"
#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/PerProcess.h"
#include "corvane/core/Timeval.h"
#include "corvane/core/fatal.h"
#include "corvane/platform/PreciseTimers.h"

namespace corvane {

namespace {
// A century: longer waits are equivalent.
constexpr std::int64_t LONGEST_USEC = 100LL * 365 * 86'400 * 1'000'000;
}  // namespace

// The timers of this process whose loops run; a loop is in the list for as long as the object lives.
class TimerQueue::Running {
 public:
  struct List {
    Mutex mutex;
    std::vector<TimerQueue*> timers CORVANE_GUARDED_BY(mutex);
  };

  static List& list() {
    static auto& lists = *new PerProcess<List>;
    return lists();
  }

  explicit Running(TimerQueue* timer) : m_timer(timer) {
    MutexLock lock(m_list.mutex);
    m_list.timers.push_back(timer);
  }
  ~Running() {
    MutexLock lock(m_list.mutex);
    std::erase(m_list.timers, m_timer);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  List& m_list = list();
  TimerQueue* const m_timer;
};

std::vector<TimerState> TimerQueue::states() {
  std::vector<TimerState> states;
  Running::List& list = Running::list();
  MutexLock lock(list.mutex);
  for (const TimerQueue* const timer : list.timers)
    states.push_back(
        {.label = timer->m_label, .usecs = timer->usecs(), .runningSince = timer->m_since, .thread = timer->m_thread});
  return states;
}

TimerQueue::TimerQueue(std::string label, double interval, Action startRun, Action action)
    : m_label(std::move(label)),
      m_start_run(std::move(startRun)),
      m_action(std::move(action)),
      m_usecs(checkedInt64(interval * 1e6)) {}

std::int64_t TimerQueue::usecs() const {
  MutexLock lock(m_mutex);
  return m_usecs;
}

void TimerQueue::setUsecs(std::int64_t usecs) {
  MutexLock lock(m_mutex);
  m_usecs = usecs;
  m_mutex.broadcast();
}

bool TimerQueue::isStopped() const {
  MutexLock lock(m_mutex);
  return m_stopped;
}

void TimerQueue::start(QoS qos) {
  if (weak_from_this().expired()) fatal("TimerQueue::start: the timer is not held by a std::shared_ptr");
  DispatchQueueSerial queue(m_label, qos);
  queue.async([weak = weak_from_this()] {
    const auto timer = weak.lock();
    if (!timer) return;
    if (timer->m_start_run) timer->m_start_run();
    timer->loop();
  });
}

void TimerQueue::stop() {
  MutexLock lock(m_mutex);
  m_running = false;
  m_mutex.broadcast();
  while (!m_stopped) m_mutex.wait(COND_WAIT_FOREVER);
}

void TimerQueue::loop() {
  Timeval base;
  const PreciseTimers precise;
  const Running running(this);
  MutexLock lock(m_mutex);
  m_running = true;
  m_stopped = false;
  while (m_running) {
    const bool timedOut = m_mutex.waituntil((base + std::clamp<std::int64_t>(m_usecs, 0, LONGEST_USEC)).tv());
    if (!m_running || !timedOut) continue;
    lock.unlock();
    if (Activity::isOn()) [[unlikely]]
      act();
    else
      m_action();
    lock.lock();
    base = base + m_usecs;
    if (base.elapsed_nsec() <= -1000) base = Timeval();
  }
  m_stopped = true;
  m_mutex.broadcast();
}

void TimerQueue::act() {
  const std::int64_t start = Clock::now();
  m_since = start;
  m_thread = Activity::thread();
  m_action();
  m_since = 0;
  Activity::note(Activity::Kind::TIMER, start, Clock::now(), m_label);
}

}  // namespace corvane
