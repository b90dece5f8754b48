#include "corvane/core/Clock.h"

namespace corvane {

std::atomic<bool> Clock::s_isManual = false;
std::atomic<std::int64_t> Clock::s_manual = 0;

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
