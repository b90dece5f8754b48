#pragma once

#include <benchmark/benchmark.h>

#include <string>

#include "bench/Measure.h"

namespace bench {

/// One measurement of `count` timers of the same interval: how late each run begins, and the processor time that the
/// process spends meanwhile. 100 timers or more fall due in groups, one group a hundredth of the interval.
class Lateness {
 public:
  static constexpr std::int64_t WARM_UP_NSEC = 300'000'000;
  static constexpr std::int64_t WINDOW_NSEC = 3'000'000'000;

  Lateness(clockid_t clock, int count, std::int64_t interval)
      : m_clock(clock), m_count(count), m_interval(interval), m_base(nowNsec(clock) + 50'000'000) {
    m_samples.reserve(static_cast<std::size_t>(WINDOW_NSEC / interval + 2) * static_cast<std::size_t>(count));
  }

  int count() const { return m_count; }
  std::int64_t interval() const { return m_interval; }

  /// When the timer `index` falls due first; later it is due at whole intervals from there.
  std::int64_t first(int index) const {
    const std::int64_t group = m_count < 100 ? 0 : std::int64_t{index} * 100 / m_count;
    return m_base + group * (m_interval / 100);
  }

  void spinUntilFirst(int index) const {
    while (nowNsec(m_clock) < first(index)) {
    }
  }

  /// To be called by each run, with the time at which its timer fell due first. False once the measurement is over.
  bool ran(std::int64_t first) {
    const std::int64_t now = nowNsec(m_clock);
    if (now < m_base + WARM_UP_NSEC) return true;
    if (m_begin == 0) {
      m_begin = now;
      m_cpu = cpuNsec();
    }
    if (m_end != 0) return false;
    if (now - m_begin >= WINDOW_NSEC) {
      m_end = now;
      m_cpu = cpuNsec() - m_cpu;
      return false;
    }
    std::int64_t late = (now - first) % m_interval;
    if (late > m_interval / 4 * 3) late -= m_interval;  // a little early
    m_samples.add(late);
    return true;
  }

  void report(benchmark::State& state) {
    state.SetIterationTime(static_cast<double>(m_end - m_begin) * 1e-9);
    state.counters["p50_us"] = m_samples.usec(0.5);
    state.counters["p99_us"] = m_samples.usec(0.99);
    state.counters["cpu_ms"] =
        static_cast<double>(m_cpu) * 1e-6 * static_cast<double>(WINDOW_NSEC) / static_cast<double>(m_end - m_begin);
    state.counters["runs"] = static_cast<double>(m_samples.count());
  }

 private:
  const clockid_t m_clock;
  const int m_count;
  const std::int64_t m_interval;
  const std::int64_t m_base;
  std::int64_t m_begin = 0;
  std::int64_t m_end = 0;
  std::int64_t m_cpu = 0;
  Samples m_samples;
};

/// Registers `function(state, count, interval in nanoseconds)` for one timer and for many.
template <class Function>
void registerTimers(const std::string& name, Function function) {
  for (const int count : {1, 100, 10'000}) {
    const std::string full = "timer." + std::to_string(count) + "/" + name;
    benchmark::RegisterBenchmark(full.c_str(), function, count, std::int64_t{100'000'000})
        ->Iterations(1)
        ->UseManualTime();
  }
}

}  // namespace bench
