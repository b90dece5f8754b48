// What one run of a repeater costs in processor time, by the number of registered repeaters.
#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/testing/ManualClock.h"

namespace {

constexpr std::int64_t START_NSEC = 50'000'000;
constexpr std::int64_t WARM_UP_NSEC = 1'200'000'000;
constexpr std::int64_t WINDOW_NSEC = 2'000'000'000;

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
    const std::int64_t now = bench::nowNsec(CLOCK_REALTIME);
    if (m_over || now < m_base + WARM_UP_NSEC) return;
    if (m_begin == 0) {
      m_begin = now;
      m_cpu = bench::cpuNsec();
      m_count = 0;
    } else if (now - m_begin >= WINDOW_NSEC) {
      m_cpu = bench::cpuNsec() - m_cpu;
      m_over = true;
      corvane::MasterTimer::instance()->stop();
      corvane::MainLoop::quit();
    }
  }

  const std::int64_t m_base = bench::nowNsec(CLOCK_REALTIME) + START_NSEC;
  std::unique_ptr<corvane::ManualClock> m_clock = std::make_unique<corvane::ManualClock>(corvane::Timeval());
  std::vector<std::shared_ptr<corvane::Repeater>> m_all;
  std::int64_t m_count = 0;
  std::int64_t m_begin = 0;
  std::int64_t m_cpu = 0;
  bool m_over = false;
};

// One repeater runs every millisecond; the others are registered and wait.
void oneAmong(benchmark::State& state, int registered) {
  for (auto _ : state) {
    Runs runs;
    for (int i = 1; i < registered; ++i) runs.add(1000, runs.base());
    runs.add(0.001, runs.base());
    runs.measure(state);
  }
}

// 10,000 runs a second whatever the number: ten repeaters are due at each millisecond.
void allOf(benchmark::State& state, int registered) {
  for (auto _ : state) {
    Runs runs;
    for (int i = 0; i < registered; ++i) runs.add(registered * 1e-4, runs.base() + i / 10 * 1'000'000);
    runs.measure(state);
  }
}

const bool s_registered = [] {
  for (const int registered : {10, 100, 1000, 10'000}) {
    const std::string suffix = "/" + std::to_string(registered) + " registered";
    benchmark::RegisterBenchmark(("scaling.one" + suffix).c_str(), oneAmong, registered)
        ->Iterations(1)
        ->UseManualTime();
    benchmark::RegisterBenchmark(("scaling.all" + suffix).c_str(), allOf, registered)->Iterations(1)->UseManualTime();
  }
  return true;
}();

}  // namespace
