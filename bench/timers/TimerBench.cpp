#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <queue>
#include <string>
#include <tuple>
#include <vector>

#include "bench/locks/Futex.h"
#include "bench/timers/Timer.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/core/TimerQueue.h"
#include "corvane/testing/ManualClock.h"

namespace {

void repeaters(benchmark::State& state, int count, std::int64_t interval) {
  for (auto _ : state) {
    bench::Lateness lateness(CLOCK_REALTIME, count, interval);
    std::vector<std::shared_ptr<corvane::Repeater>> all;
    {
      // A repeater is due first when it is started; a stopped clock gives each the time that it should have.
      corvane::ManualClock clock{corvane::Timeval()};
      for (int i = 0; i < count; ++i) {
        const std::int64_t first = lateness.first(i);
        clock.set(corvane::Timeval::nsec(first));
        all.push_back(std::make_shared<corvane::Repeater>("bench"));
        all.back()->start(static_cast<double>(interval) * 1e-9, [&lateness, first] {
          if (!lateness.ran(first)) corvane::MainLoop::quit();
        });
      }
    }
    corvane::MasterTimer::instance()->start();
    corvane::MainLoop::run();
    corvane::MasterTimer::instance()->stop();
    lateness.report(state);
  }
}

void timerQueue(benchmark::State& state, std::int64_t interval) {
  for (auto _ : state) {
    bench::Lateness lateness(CLOCK_REALTIME, 1, interval);
    bench::Futex over;
    std::int64_t first = 0;
    // The cadence counts from just after the start-run.
    auto timer = std::make_shared<corvane::TimerQueue>(
        "bench", static_cast<double>(interval) * 1e-9, [&] { first = bench::nowNsec(CLOCK_REALTIME); },
        [&] {
          if (!lateness.ran(first)) over.signal(1);
        });
    timer->start();
    over.waitFor(1);
    timer->stop();
    lateness.report(state);
  }
}

// One kernel timer, set to the earliest of all.
void timerfd(benchmark::State& state, int count, std::int64_t interval) {
  using Entry = std::tuple<std::int64_t, int>;
  for (auto _ : state) {
    bench::Lateness lateness(CLOCK_MONOTONIC, count, interval);
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> order;
    for (int i = 0; i < count; ++i) order.emplace(lateness.first(i), i);
    const int descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    for (bool more = true; more;) {
      const std::int64_t next = std::get<0>(order.top());
      const itimerspec at = {{}, {next / 1'000'000'000, next % 1'000'000'000}};
      timerfd_settime(descriptor, TFD_TIMER_ABSTIME, &at, nullptr);
      std::uint64_t expirations = 0;
      if (read(descriptor, &expirations, sizeof expirations) < 0) break;
      const std::int64_t now = bench::nowNsec();
      while (std::get<0>(order.top()) <= now) {
        const auto [due, index] = order.top();
        order.pop();
        order.emplace(due + interval, index);
        more = lateness.ran(lateness.first(index)) && more;
      }
    }
    close(descriptor);
    lateness.report(state);
  }
}

const bool s_registered = [] {
  bench::registerTimers("Corvane repeaters", repeaters);
  bench::registerTimers("timerfd", timerfd);
  for (const int msec : {1, 100}) {
    const std::string path = "timerqueue." + std::to_string(msec) + "ms/";
    const std::int64_t interval = msec * std::int64_t{1'000'000};
    benchmark::RegisterBenchmark((path + "Corvane TimerQueue").c_str(), timerQueue, interval)
        ->Iterations(1)
        ->UseManualTime();
    benchmark::RegisterBenchmark((path + "timerfd").c_str(), timerfd, 1, interval)->Iterations(1)->UseManualTime();
  }
  return true;
}();

}  // namespace
