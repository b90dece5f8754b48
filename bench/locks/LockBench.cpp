#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "bench/locks/Lock.h"
#include "corvane/core/Mutex.h"

namespace {

// The C library avoids atomic instructions while a process has one thread; programs with locks have more.
const bool s_second = [] {
  std::thread([] { pause(); }).detach();
  return true;
}();

struct CorvaneLock {
  corvane::Mutex mutex;
  void acquire() CORVANE_NO_THREAD_SAFETY_ANALYSIS { mutex.acquire(); }
  void release() CORVANE_NO_THREAD_SAFETY_ANALYSIS { mutex.release(); }
};

struct PosixLock {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  void acquire() { pthread_mutex_lock(&mutex); }
  void release() { pthread_mutex_unlock(&mutex); }
};

struct StdLock {
  std::mutex mutex;
  void acquire() { mutex.lock(); }
  void release() { mutex.unlock(); }
};

// The least that a lock can be: one exchange to take it and one store to release it, without sleeping.
struct SpinLock {
  std::atomic<bool> taken = false;
  void acquire() {
    while (taken.exchange(true, std::memory_order_acquire)) sched_yield();
  }
  void release() { taken.store(false, std::memory_order_release); }
};

CORVANE_BENCH_LOCK(CorvaneLock, "Corvane Mutex");
CORVANE_BENCH_LOCK(PosixLock, "pthread_mutex");
CORVANE_BENCH_LOCK(StdLock, "std::mutex");
BENCHMARK(bench::lockUnlock<SpinLock>)->Name("lock.alone/one exchange");

}  // namespace
