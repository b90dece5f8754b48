#include <boost/signals2.hpp>

#include "bench/broadcaster/Broadcast.h"

namespace {

void signals2(benchmark::State& state, int listeners) {
  boost::signals2::signal<void(int)> signal;
  for (int i = 0; i < listeners; ++i) signal.connect(bench::hear);
  for (auto _ : state) signal(1);
}

void signals2Timed(benchmark::State& state, int listeners) {
  boost::signals2::signal<void(int)> signal;
  for (int i = 0; i < listeners; ++i) signal.connect(bench::TimedListener());
  for (auto _ : state) signal(1);
}

CORVANE_BENCH_BROADCAST(signals2, "boost::signals2");
CORVANE_BENCH_BROADCAST(signals2Timed, "boost::signals2, timed");

}  // namespace
