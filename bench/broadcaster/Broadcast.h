#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

#include "bench/Measure.h"

namespace bench {

/// What every listener does with what it receives.
inline std::int64_t s_heard = 0;

inline void hear(int value) {
  benchmark::DoNotOptimize(s_heard += value);
}

/// The same, counted and timed, as Corvane does for each listener.
struct TimedListener {
  std::int64_t count = 0;
  std::int64_t elapsed = 0;

  void operator()(int value) {
    const std::int64_t begin = nowNsec(CLOCK_REALTIME);
    hear(value);
    elapsed += (nowNsec(CLOCK_REALTIME) - begin) / 1000;
    ++count;
  }
};

}  // namespace bench

/// One broadcast to 1, 10 and 1,000 listeners.
#define CORVANE_BENCH_BROADCAST(function, name)                     \
  BENCHMARK_CAPTURE(function, one, 1)->Name("broadcast.1/" name);   \
  BENCHMARK_CAPTURE(function, ten, 10)->Name("broadcast.10/" name); \
  BENCHMARK_CAPTURE(function, thousand, 1000)->Name("broadcast.1000/" name)
