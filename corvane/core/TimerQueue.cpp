#include "corvane/core/TimerQueue.h"

#include <algorithm>

#include "corvane/core/Checked.h"
#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Timeval.h"
#include "corvane/core/fatal.h"
#include "corvane/platform/PreciseTimers.h"

namespace corvane {

namespace {
// A century: longer waits are equivalent.
constexpr std::int64_t LONGEST_USEC = 100LL * 365 * 86'400 * 1'000'000;
}  // namespace

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
  MutexLock lock(m_mutex);
  m_running = true;
  m_stopped = false;
  while (m_running) {
    const bool timedOut = m_mutex.waituntil((base + std::clamp<std::int64_t>(m_usecs, 0, LONGEST_USEC)).tv());
    if (!m_running || !timedOut) continue;
    lock.unlock();
    m_action();
    lock.lock();
    base = base + m_usecs;
    if (base.elapsed_nsec() <= -1000) base = Timeval();
  }
  m_stopped = true;
  m_mutex.broadcast();
}

}  // namespace corvane
