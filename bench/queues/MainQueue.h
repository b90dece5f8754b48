#pragma once

#include <benchmark/benchmark.h>

#include <thread>

#include "bench/Measure.h"

namespace bench {

/// Round trips from another thread to the main one: `runLoop` runs the main loop here, while a thread calls `call`
/// again and again and then `quitLoop`.
template <class RunLoop, class Call, class QuitLoop>
void roundTrips(benchmark::State& state, RunLoop&& runLoop, Call&& call, QuitLoop&& quitLoop) {
  constexpr int ROUNDS = 50'000;
  const OneProcessor one;
  for (auto _ : state) {
    Samples samples;
    samples.reserve(ROUNDS);
    std::thread caller([&] {
      for (int round = 0; round < ROUNDS; ++round) {
        const std::int64_t begin = nowNsec();
        call();
        samples.add(nowNsec() - begin);
      }
      quitLoop();
    });
    runLoop();
    caller.join();
    state.counters["p50_us"] = samples.usec(0.5);
    state.counters["p99_us"] = samples.usec(0.99);
  }
}

}  // namespace bench

#define CORVANE_BENCH_MAIN(function, name) BENCHMARK(function)->Name("mainqueue/" name)->Iterations(1)->UseRealTime()
