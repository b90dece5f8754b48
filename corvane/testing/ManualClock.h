#pragma once

#include "corvane/core/Timeval.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A clock that stands still until a test or a simulation moves it: as long as it exists, Timeval() reads it, and timed
/// waits of the library (Mutex, Repeater, TimerQueue) end when it passes their deadline. Waits notice a move within
/// about a millisecond of real time. Make it before the waits that it is to end: one that has begun on the real clock
/// stays there. One at a time; move it from any thread.
///
///     corvane::ManualClock clock(corvane::Timeval::sec(1'000'000));
///     timer->start();
///     clock.advance(corvane::Timeval::sec(10));
class CORVANE_API ManualClock {
 public:
  explicit ManualClock(Timeval now);
  ~ManualClock();
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  void advance(Timeval by);
  void set(Timeval now);
};

}  // namespace corvane
