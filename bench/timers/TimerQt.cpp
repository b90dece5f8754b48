#include <QCoreApplication>
#include <QTimer>
#include <deque>

#include "bench/timers/Timer.h"

namespace {

void timers(benchmark::State& state, int count, std::int64_t interval) {
  int argc = 0;
  QCoreApplication application(argc, nullptr);
  for (auto _ : state) {
    std::deque<QTimer> all;
    bench::Lateness lateness(CLOCK_MONOTONIC, count, interval);
    for (int i = 0; i < count; ++i) {
      QTimer& timer = all.emplace_back();
      timer.setTimerType(Qt::PreciseTimer);
      lateness.spinUntilFirst(i);
      const std::int64_t first = bench::nowNsec();
      QObject::connect(&timer, &QTimer::timeout, [&lateness, first] {
        if (!lateness.ran(first)) QCoreApplication::quit();
      });
      timer.start(static_cast<int>(interval / 1'000'000));
    }
    application.exec();
    lateness.report(state);
  }
}

const bool s_registered = [] {
  bench::registerTimers("QTimer, precise", timers);
  return true;
}();

}  // namespace
