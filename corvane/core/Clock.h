#pragma once

#include <cstdint>
#include <optional>

#include "corvane/platform/Export.h"

namespace corvane {

/// The only source of time behind Timeval() and every timed wait of the library: the real-time clock, or a reading set
/// by a test (see corvane/testing/ManualClock.h). Any thread.
struct CORVANE_API Clock {
  /// Nanoseconds since 1970-01-01 00:00 UTC.
  static std::int64_t now();

  /// The reading that replaces the real clock; std::nullopt if the real clock is in use.
  static std::optional<std::int64_t> manual() noexcept;

  /// Replaces the real clock by a reading, or changes that reading.
  static void setManual(std::int64_t nsec) noexcept;

  /// Moves the reading by an amount.
  static void advanceManual(std::int64_t nsec) noexcept;

  /// Returns to the real clock.
  static void endManual() noexcept;
};

}  // namespace corvane
