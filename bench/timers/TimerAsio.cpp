#include <boost/asio.hpp>
#include <deque>

#include "bench/timers/Timer.h"

namespace {

using boost::asio::steady_timer;

struct Timer {
  steady_timer timer;
  std::int64_t first;
  bench::Lateness& lateness;
  boost::asio::io_context& context;

  void wait() {
    timer.async_wait([this](const boost::system::error_code& error) {
      if (error) return;
      if (!lateness.ran(first)) return context.stop();
      timer.expires_at(timer.expiry() + std::chrono::nanoseconds(lateness.interval()));
      wait();
    });
  }
};

void steadyTimers(benchmark::State& state, int count, std::int64_t interval) {
  for (auto _ : state) {
    boost::asio::io_context context(1);
    bench::Lateness lateness(CLOCK_MONOTONIC, count, interval);
    std::deque<Timer> timers;
    for (int i = 0; i < count; ++i) {
      const std::int64_t first = lateness.first(i);
      timers.push_back({steady_timer(context), first, lateness, context});
      timers.back().timer.expires_at(steady_timer::time_point(std::chrono::nanoseconds(first)));
      timers.back().wait();
    }
    context.run();
    lateness.report(state);
  }
}

const bool s_registered = [] {
  bench::registerTimers("asio steady_timer", steadyTimers);
  return true;
}();

}  // namespace
