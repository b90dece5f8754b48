#pragma once

#include <pthread.h>
#include <sys/time.h>

#include <atomic>
#include <cstdint>
#include <utility>

#include "corvane/core/ThreadSafety.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// The time limit that stands for no limit, as any negative number of microseconds does.
inline constexpr std::int64_t COND_WAIT_FOREVER = -1;

/// A POSIX mutex and its condition variable: the thin layer below Mutex, and the object behind the C functions of
/// corvane/core/ptlock_c.h. Not recursive. The methods return the code of the POSIX call.
class CORVANE_CAPABILITY("mutex") ptlock {
 public:
  ptlock() = default;
  ~ptlock() {
    pthread_cond_destroy(&m_condition);
    pthread_mutex_destroy(&m_mutex);
  }
  ptlock(const ptlock&) = delete;
  ptlock& operator=(const ptlock&) = delete;

  /// As pthread_mutex_lock() and the like: 0, or the number of the error.
  int acquire() CORVANE_ACQUIRE() CORVANE_NO_THREAD_SAFETY_ANALYSIS { return pthread_mutex_lock(&m_mutex); }
  int release() CORVANE_RELEASE() CORVANE_NO_THREAD_SAFETY_ANALYSIS { return pthread_mutex_unlock(&m_mutex); }
  int broadcast() {
    m_broadcasts.fetch_add(1, std::memory_order_relaxed);
    return pthread_cond_broadcast(&m_condition);
  }

  /// With the lock held: waits for a broadcast, for at most `usec` microseconds if that is not negative. True if the
  /// time ran out. The deadline follows the real-time clock, so setting the system's time shifts it.
  CORVANE_API bool wait(long long usec) CORVANE_REQUIRES(this);

 private:
  friend class Mutex;
  bool waitForManualClock(std::int64_t nsec) CORVANE_REQUIRES(this);

  pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t m_condition = PTHREAD_COND_INITIALIZER;
  std::atomic<unsigned> m_broadcasts = 0;  // a wait on a manual clock must not miss one between two checks
};

/// A lock and a condition variable in one object.
///
/// Not recursive: acquiring it twice on one thread deadlocks. Every wake-up is a broadcast, and waits may end without
/// one, so a waiter checks its condition again (waitloop does). Time limits are in microseconds; COND_WAIT_FOREVER or
/// any negative number means no limit, 0 returns at once. Any thread; hold it by std::shared_ptr to share it.
///
///     Mutex mutex;
///     int jobs CORVANE_GUARDED_BY(mutex) = 0;
///
///     MutexLock lock(mutex);                                   // as long as the scope
///     while (jobs == 0 && !mutex.wait(500'000)) {}             // half a second at most for each wake-up
///
/// Clang's analysis treats the body of a lambda as if nothing were locked; annotate it with the lock that
/// acquire_block() holds:
///
///     const int left = mutex.acquire_block([&]() CORVANE_REQUIRES(mutex) { return jobs; });
class CORVANE_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  /// Waits for the lock and takes it; gives it back. Only the thread that holds it may release it.
  void acquire() CORVANE_ACQUIRE() CORVANE_NO_THREAD_SAFETY_ANALYSIS { m_lock.acquire(); }
  void release() CORVANE_RELEASE() CORVANE_NO_THREAD_SAFETY_ANALYSIS { m_lock.release(); }

  /// Runs `body` with the lock held and returns its result. Unlocks even if `body` throws.
  template <class Body>
  decltype(auto) acquire_block(Body&& body) CORVANE_EXCLUDES(this);

  /// For a caller that holds the lock: releases it while `body` runs and returns the result of `body`. Locks again even
  /// if `body` throws.
  template <class Body>
  decltype(auto) release_block(Body&& body) CORVANE_REQUIRES(this);

  /// With the lock held: waits for a broadcast, for at most `usecs` microseconds. True if the time ran out.
  bool wait(std::int64_t usecs = COND_WAIT_FOREVER) CORVANE_REQUIRES(this) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
    return m_lock.wait(usecs);
  }

  /// With the lock held: waits for a broadcast until the real-time clock shows `tv`. True if the time ran out. Returns
  /// at once if `tv` has passed.
  CORVANE_API bool waituntil(const timeval& tv) CORVANE_REQUIRES(this) CORVANE_NO_THREAD_SAFETY_ANALYSIS;

  /// The whole condition loop under the lock: calls `initialise` once; then, for as long as `predicate` holds, waits
  /// for at most `usecs` microseconds and calls `body`.
  template <class Initialise, class Predicate, class Body>
  void waitloop(Initialise&& initialise, Predicate&& predicate, Body&& body, std::int64_t usecs) CORVANE_EXCLUDES(this);

  /// Wakes every waiter. The caller normally holds the lock.
  void broadcast() { m_lock.broadcast(); }

 private:
  ptlock m_lock;
};

/// Holds a Mutex for a scope; may be released and acquired again in between.
class CORVANE_SCOPED_CAPABILITY MutexLock {
 public:
  /// Waits for the lock.
  explicit MutexLock(Mutex& mutex) CORVANE_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.acquire(); }
  ~MutexLock() CORVANE_RELEASE() {
    if (m_held) m_mutex.release();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  /// Releases the lock before the end of the scope; takes it again.
  void unlock() CORVANE_RELEASE() {
    m_mutex.release();
    m_held = false;
  }
  void lock() CORVANE_ACQUIRE() {
    m_mutex.acquire();
    m_held = true;
  }

 private:
  Mutex& m_mutex;
  bool m_held = true;
};

template <class Body>
decltype(auto) Mutex::acquire_block(Body&& body) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  MutexLock lock(*this);
  return std::forward<Body>(body)();
}

template <class Body>
decltype(auto) Mutex::release_block(Body&& body) CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  struct Unlocked {
    Mutex& mutex;
    explicit Unlocked(Mutex& held) CORVANE_NO_THREAD_SAFETY_ANALYSIS : mutex(held) { mutex.release(); }
    ~Unlocked() CORVANE_NO_THREAD_SAFETY_ANALYSIS { mutex.acquire(); }
  } unlocked(*this);
  return std::forward<Body>(body)();
}

template <class Initialise, class Predicate, class Body>
void Mutex::waitloop(Initialise&& initialise, Predicate&& predicate, Body&& body, std::int64_t usecs) {
  MutexLock lock(*this);
  initialise();
  while (predicate()) {
    wait(usecs);
    body();
  }
}

}  // namespace corvane
