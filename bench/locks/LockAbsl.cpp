#include <absl/synchronization/mutex.h>

#include "bench/locks/Lock.h"

namespace {

struct AbslLock {
  absl::Mutex mutex;
  void acquire() { mutex.Lock(); }
  void release() { mutex.Unlock(); }
};

CORVANE_BENCH_LOCK(AbslLock, "absl::Mutex");

}  // namespace
