#include <QMutex>

#include "bench/locks/Lock.h"

namespace {

struct QtLock {
  QMutex mutex;
  void acquire() { mutex.lock(); }
  void release() { mutex.unlock(); }
};

CORVANE_BENCH_LOCK(QtLock, "QMutex");

}  // namespace
