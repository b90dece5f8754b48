#include "corvane/core/PerProcess.h"

#include <pthread.h>

namespace corvane {

namespace {
std::atomic<unsigned> s_forks = 0;
[[maybe_unused]] const int s_registered =
    pthread_atfork(nullptr, nullptr, [] { s_forks.fetch_add(1, std::memory_order_relaxed); });
}  // namespace

unsigned forkCount() noexcept {
  return s_forks.load(std::memory_order_relaxed);
}

}  // namespace corvane
