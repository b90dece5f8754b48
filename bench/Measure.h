#pragma once

#include <sched.h>
#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

inline std::int64_t nowNsec(clockid_t clock = CLOCK_MONOTONIC) {
  timespec ts{};
  clock_gettime(clock, &ts);
  return std::int64_t{ts.tv_sec} * 1'000'000'000 + ts.tv_nsec;
}

inline void spinUntil(std::int64_t nsec) {
  while (nowNsec() < nsec) {
  }
}

/// Keeps the calling thread, and the threads that it starts, on one processor for a scope. Hand-overs between threads
/// are compared so: on two, most of the time goes to rousing the idle one, and where the threads happen to be decides.
class OneProcessor {
 public:
  OneProcessor() {
    sched_getaffinity(0, sizeof m_before, &m_before);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
    sched_setaffinity(0, sizeof one, &one);
  }
  ~OneProcessor() { sched_setaffinity(0, sizeof m_before, &m_before); }
  OneProcessor(const OneProcessor&) = delete;
  OneProcessor& operator=(const OneProcessor&) = delete;

 private:
  cpu_set_t m_before;
};

/// Processor time of the whole process, user and system.
inline std::int64_t cpuNsec() {
  return nowNsec(CLOCK_PROCESS_CPUTIME_ID);
}

class Samples {
 public:
  void reserve(std::size_t count) { m_values.reserve(count); }
  void add(std::int64_t nsec) { m_values.push_back(nsec); }
  std::size_t count() const { return m_values.size(); }

  /// The value below which `part` (0 to 1) of the samples lie, in microseconds.
  double usec(double part) {
    if (m_values.empty()) return 0;
    const auto last = static_cast<double>(m_values.size() - 1);
    const auto nth = m_values.begin() + static_cast<std::ptrdiff_t>(last * part + 0.5);
    std::ranges::nth_element(m_values, nth);
    return static_cast<double>(*nth) / 1000;
  }

 private:
  std::vector<std::int64_t> m_values;
};

}  // namespace bench
