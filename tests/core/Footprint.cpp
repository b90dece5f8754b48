#include <cstdio>

#include "corvane/core/Mutex.h"
#include "corvane/core/Timeval.h"

int main() {
  corvane::Mutex mutex;
  const corvane::Timeval begin;
  corvane::MutexLock lock(mutex);
  mutex.wait(1000);
  return begin.elapsed() >= 900 && !begin.timestamp().empty() ? 0 : 1;
}
