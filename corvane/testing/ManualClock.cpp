#include "corvane/testing/ManualClock.h"

#include "corvane/core/fatal.h"

namespace corvane {

ManualClock::ManualClock(Timeval now) {
  if (Clock::manual()) fatal("ManualClock: another clock is in place");
  set(now);
}

ManualClock::~ManualClock() {
  Clock::endManual();
}

void ManualClock::advance(Timeval by) {
  Clock::advanceManual(by.nsec());
}

void ManualClock::set(Timeval now) {
  Clock::setManual(now.nsec());
}

}  // namespace corvane
