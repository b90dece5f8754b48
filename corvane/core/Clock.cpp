#include "corvane/core/Clock.h"

#include <time.h>

#include <atomic>

namespace corvane {

namespace {
// Plain values rather than an object, because threads of the library may read them at any time.
std::atomic<bool> s_isManual = false;
std::atomic<std::int64_t> s_manual = 0;
}  // namespace

std::int64_t Clock::now() {
  if (s_isManual.load(std::memory_order_acquire)) return s_manual.load(std::memory_order_acquire);
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return std::int64_t{ts.tv_sec} * 1'000'000'000 + ts.tv_nsec;
}

std::optional<std::int64_t> Clock::manual() noexcept {
  return s_isManual.load(std::memory_order_acquire) ? std::optional(s_manual.load(std::memory_order_acquire))
                                                    : std::nullopt;
}

void Clock::setManual(std::int64_t nsec) noexcept {
  s_manual.store(nsec, std::memory_order_release);
  s_isManual.store(true, std::memory_order_release);
}

void Clock::advanceManual(std::int64_t nsec) noexcept {
  s_manual.fetch_add(nsec, std::memory_order_acq_rel);
}

void Clock::endManual() noexcept {
  s_isManual.store(false, std::memory_order_release);
}

}  // namespace corvane
