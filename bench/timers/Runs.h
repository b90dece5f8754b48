#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "bench/Measure.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/testing/ManualClock.h"

namespace bench {

inline constexpr std::int64_t START_NSEC = 50'000'000;
inline constexpr std::int64_t WARM_UP_NSEC = 1'200'000'000;
inline constexpr std::int64_t WINDOW_NSEC = 2'000'000'000;

/// Runs of repeaters, and what one of them costs in processor time.
class Runs {
 public:
  void add(double interval, std::int64_t first) {
    m_clock->set(corvane::Timeval::nsec(first));
    m_all.push_back(std::make_shared<corvane::Repeater>("bench"));
    m_all.back()->start(interval, [this] { ran(); });
  }

  // Between construction and this call the clock is stopped, so that add() can choose when a repeater is due first.
  void measure(benchmark::State& state) {
    m_clock.reset();
    corvane::MasterTimer::instance()->start();
    corvane::MainLoop::run();
    corvane::MasterTimer::instance()->stop();
    const double perRun = static_cast<double>(m_cpu) / static_cast<double>(m_count);
    state.SetIterationTime(perRun * 1e-9);
    state.counters["runs"] = static_cast<double>(m_count);
  }

  std::int64_t base() const { return m_base; }

 private:
  void ran() {
    ++m_count;
    const std::int64_t now = nowNsec(CLOCK_REALTIME);
    if (m_over || now < m_base + WARM_UP_NSEC) return;
    if (m_begin == 0) {
      m_begin = now;
      m_cpu = cpuNsec();
      m_count = 0;
    } else if (now - m_begin >= WINDOW_NSEC) {
      m_cpu = cpuNsec() - m_cpu;
      m_over = true;
      corvane::MasterTimer::instance()->stop();
      corvane::MainLoop::quit();
    }
  }

  const std::int64_t m_base = nowNsec(CLOCK_REALTIME) + START_NSEC;
  std::unique_ptr<corvane::ManualClock> m_clock = std::make_unique<corvane::ManualClock>(corvane::Timeval());
  std::vector<std::shared_ptr<corvane::Repeater>> m_all;
  std::int64_t m_count = 0;
  std::int64_t m_begin = 0;
  std::int64_t m_cpu = 0;
  bool m_over = false;
};

/// 10,000 runs a second whatever the number: ten repeaters are due at each millisecond.
inline void runsOfAll(benchmark::State& state, int registered) {
  Runs runs;
  for (int i = 0; i < registered; ++i) runs.add(registered * 1e-4, runs.base() + i / 10 * 1'000'000);
  runs.measure(state);
}

}  // namespace bench
