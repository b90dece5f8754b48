#pragma once

namespace corvane {

/// Asks the kernel, for the calling thread and the scope, to end timed waits as near to their time as it can. (Linux
/// otherwise lets them run over by up to 50 µs.)
class PreciseTimers {
 public:
  PreciseTimers();
  ~PreciseTimers();
  PreciseTimers(const PreciseTimers&) = delete;
  PreciseTimers& operator=(const PreciseTimers&) = delete;

 private:
  unsigned long m_previous;
};

}  // namespace corvane
