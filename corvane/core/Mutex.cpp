#include "corvane/core/Mutex.h"

#include <errno.h>

#include <algorithm>
#include <limits>
#include <new>

#include "corvane/core/Checked.h"
#include "corvane/core/Clock.h"
#include "corvane/core/Timeval.h"
#include "corvane/core/fatal.h"
#include "corvane/core/ptlock_c.h"
#include "corvane/core/timeval_c.h"

namespace corvane {

namespace {

timespec realTimeAfter(std::int64_t usec) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t later = now.tv_nsec / 1000 + usec % 1'000'000;
  // A deadline beyond the range of the clock is the same as one that is never reached.
  const std::int64_t sec =
      now.tv_sec + std::min(usec / 1'000'000, std::numeric_limits<std::int64_t>::max() / 1'000'000);
  return {sec + later / 1'000'000, later % 1'000'000 * 1000};
}

}  // namespace

bool ptlock::wait(long long usec) {
  if (usec < 0) {
    pthread_cond_wait(&m_condition, &m_mutex);
    return false;
  }
  if (const auto now = Clock::manual()) {
    constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
    return waitForManualClock(usec > (MAX - *now) / 1000 ? MAX : *now + usec * 1000);
  }
  const timespec deadline = realTimeAfter(usec);
  return pthread_cond_timedwait(&m_condition, &m_mutex, &deadline) == ETIMEDOUT;
}

// A manual clock does not wake threads: check it every millisecond of real time.
bool ptlock::waitForManualClock(std::int64_t nsec) {
  const unsigned broadcasts = m_broadcasts.load(std::memory_order_relaxed);
  while (const auto now = Clock::manual()) {
    if (*now >= nsec) return true;
    const timespec slice = realTimeAfter(1000);
    pthread_cond_timedwait(&m_condition, &m_mutex, &slice);
    if (m_broadcasts.load(std::memory_order_relaxed) != broadcasts) return false;
  }
  return false;
}

bool Mutex::waituntil(const timeval& tv) {
  const std::int64_t elapsed = elapsed_usec(tv);
  if (elapsed > 0) return true;
  // Not by way of a duration: the clock may be set between two readings.
  if (Clock::manual()) return m_lock.waitForManualClock(Timeval(tv).nsec());
  return wait(checkedSub(0, elapsed));
}

}  // namespace corvane

using corvane::ptlock;

namespace {
ptlock* lockOf(void* lock) {
  return static_cast<ptlock*>(lock);
}
}  // namespace

extern "C" {

void* ptlock_init(void) {
  auto* lock = new (std::nothrow) ptlock;
  if (!lock) corvane::fatal("ptlock_init: out of memory");
  return lock;
}

void ptlock_destroy(void* lock) {
  delete lockOf(lock);
}

int ptlock_acquire(void* lock) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  return lockOf(lock)->acquire();
}

int ptlock_release(void* lock) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  return lockOf(lock)->release();
}

int ptlock_wait(void* lock, int64_t usec) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  return lockOf(lock)->wait(usec) ? -1 : 0;
}

int ptlock_broadcast(void* lock) {
  return lockOf(lock)->broadcast();
}

}  // extern "C"
