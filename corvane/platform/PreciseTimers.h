#pragma once

#include "corvane/platform/Export.h"

namespace corvane {

/// Asks the kernel to end the calling thread's timed waits as punctually as it can, for the length of a scope. (Linux
/// may otherwise let them overrun by up to 50 µs.)
class CORVANE_API PreciseTimers {
 public:
  PreciseTimers();
  ~PreciseTimers();
  PreciseTimers(const PreciseTimers&) = delete;
  PreciseTimers& operator=(const PreciseTimers&) = delete;

 private:
  unsigned long m_previous;
};

}  // namespace corvane
