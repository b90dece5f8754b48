#pragma once

#include <cstdint>
#include <optional>

#include "corvane/platform/Export.h"

namespace corvane {

/// The one source of time behind Timeval() and every timed wait of the library: the real-time clock, or a reading that
/// a test sets (see corvane/testing/ManualClock.h). Any thread.
struct CORVANE_API Clock {
  /// Nanoseconds since 1970-01-01 00:00 UTC.
  static std::int64_t now();

  /// The reading that stands in for the real clock, none if it is the real one that counts.
  static std::optional<std::int64_t> manual() noexcept;

  /// Puts a reading in the real clock's place, or moves it.
  static void setManual(std::int64_t nsec) noexcept;

  /// Moves it by an amount.
  static void advanceManual(std::int64_t nsec) noexcept;

  /// Puts the real clock back.
  static void endManual() noexcept;
};

}  // namespace corvane
