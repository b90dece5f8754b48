#pragma once

#include <time.h>

#include <atomic>
#include <cstdint>
#include <optional>

#include "corvane/platform/Export.h"

namespace corvane {

/// The only source of time behind Timeval() and every timed wait of the library: the real-time clock, or a reading set
/// by a test (see corvane/testing/ManualClock.h). Any thread.
struct CORVANE_API Clock {
  /// Nanoseconds since 1970-01-01 00:00 UTC.
  static std::int64_t now() {
    if (s_isManual.load(std::memory_order_acquire)) [[unlikely]]
      return s_manual.load(std::memory_order_acquire);
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return std::int64_t{ts.tv_sec} * 1'000'000'000 + ts.tv_nsec;
  }

  /// The reading that replaces the real clock; std::nullopt if the real clock is in use.
  static std::optional<std::int64_t> manual() noexcept;

  /// Replaces the real clock by a reading, or changes that reading.
  static void setManual(std::int64_t nsec) noexcept;

  /// Moves the reading by an amount.
  static void advanceManual(std::int64_t nsec) noexcept;

  /// Returns to the real clock.
  static void endManual() noexcept;

 private:
  // Plain values rather than an object, because threads of the library may read them at any time.
  static std::atomic<bool> s_isManual;
  static std::atomic<std::int64_t> s_manual;
};

}  // namespace corvane
