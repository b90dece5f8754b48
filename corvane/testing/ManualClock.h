#pragma once

#include "corvane/core/Timeval.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A clock that stands still until a test or a simulation moves it: while it exists, Timeval() reads it, and the
/// library's timed waits (Mutex, Repeater, TimerQueue) end when it passes their deadlines. Waits notice a change within
/// about a millisecond of real time. Create it before the waits that it is to end: a wait that has begun on the real
/// clock stays on it. Only one at a time; any thread may move it.
///
///     corvane::ManualClock clock(corvane::Timeval::sec(1'000'000));
///     timer->start();
///     clock.advance(corvane::Timeval::sec(10));
class CORVANE_API ManualClock {
 public:
  /// From now on the time is this one, for all of the process, until the clock is destroyed.
  explicit ManualClock(Timeval now);
  ~ManualClock();
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  void advance(Timeval by);  ///< goes on
  void set(Timeval now);     ///< goes to another time, also back
};

}  // namespace corvane
