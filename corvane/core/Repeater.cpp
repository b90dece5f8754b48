#include "corvane/core/Repeater.h"

#include "corvane/core/MasterTimer.h"

namespace corvane {

Mutex& Repeater::s_mutex = *new Mutex;

Repeater::Repeater() {
  fatal("Use of unimplemented initializer 'init()' for class 'Corvane.Repeater'");
}

Repeater::Repeater(std::string ident) : m_ident(std::move(ident)) {}

void Repeater::start(double interval, std::function<void()> closure_funct) {
  auto self = weak_from_this().lock();
  if (!self) fatal("Repeater::start: the repeater is not held by a std::shared_ptr");
  const auto timer = MasterTimer::instance();
  std::shared_ptr<const std::function<void()>> func;
  if (closure_funct) func = std::make_shared<const std::function<void()>>(std::move(closure_funct));
  MasterTimer::Dropped dropped;
  MutexLock lock(s_mutex);
  if (m_timer && m_timer != timer.get()) dropped = m_timer->removeLocked(*this);
  m_interval = interval;
  m_func.swap(func);
  const Timeval now;
  m_next_run = now;
  resetStats(now);
  m_running = true;
  timer->addLocked(std::move(self));
}

void Repeater::stop() {
  MasterTimer::Dropped dropped;
  MutexLock lock(s_mutex);
  if (m_timer) dropped = m_timer->removeLocked(*this);
  m_running = false;
}

double Repeater::interval() const {
  MutexLock lock(s_mutex);
  return m_interval;
}

void Repeater::setInterval(double interval) {
  MutexLock lock(s_mutex);
  m_interval = interval;
}

bool Repeater::running() const {
  MutexLock lock(s_mutex);
  return m_running;
}

double Repeater::timeConstant() const {
  MutexLock lock(s_mutex);
  return m_time_constant;
}

void Repeater::resetStats(Timeval now) {
  m_last_run = now;
  m_stats = {};
  m_stats.name = m_ident;
}

Timeval Repeater::nextRun() const {
  if (!m_next_run) fatal("Repeater: a registered repeater has no due time");
  return *m_next_run;
}

// The clock is read once before the task, by the caller, and once after it: more readings would only add their own
// cost.
Timeval Repeater::run(MutexLock& lock, Timeval start) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  Timeval end = start;
  if (m_func) {
    if (m_stats.count == 0)
      m_stats.interval_stats = WeightedStats::seeded(m_interval * 1e6);
    else
      m_stats.interval_stats.update(static_cast<double>((start - *m_last_run).usec()), m_time_constant, m_interval);
    m_last_run = start;
    {
      // The task may restart or stop the repeater: the callable lives until it returns, and dies without the lock.
      auto func = m_func;
      lock.unlock();
      (*func)();
      func.reset();
      lock.lock();
    }
    end = Timeval();
    const auto duration = static_cast<double>((end - start).usec());
    m_stats.total_elapsed += duration;
    if (m_stats.count == 0)
      m_stats.elapsed_stats = WeightedStats::seeded(duration);
    else
      m_stats.elapsed_stats.update(duration, m_time_constant, m_interval);
    m_stats.count += 1;
  }
  const Timeval step = Timeval::nsec(Timeval::toInt64(m_interval * 1e9));
  m_next_run = nextRun() + step;
  if (*m_next_run < start) m_next_run = start + step;
  return end;
}

}  // namespace corvane
