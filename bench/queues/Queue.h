#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

#include "bench/Measure.h"
#include "bench/locks/Futex.h"

namespace bench {

/// The work of the throughput benchmarks: counts, and notifies the producer when the last item has run.
class Countdown {
 public:
  static constexpr int ITEMS = 200'000;

  void run() {
    if (++m_count == ITEMS) m_done.signal(1);
  }
  void wait() { m_done.waitFor(1); }

 private:
  int m_count = 0;
  Futex m_done;
};

/// Throughput from one producer: `post(countdown)` queues one item that calls countdown.run().
template <class Post>
void throughput(benchmark::State& state, Post&& post) {
  for (auto _ : state) {
    Countdown countdown;
    for (int i = 0; i < Countdown::ITEMS; ++i) post(countdown);
    countdown.wait();
  }
  state.counters["items"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * Countdown::ITEMS, benchmark::Counter::kIsRate);
}

}  // namespace bench

#define CORVANE_BENCH_QUEUE(function, name) BENCHMARK(function)->Name("queue.async/" name)->UseRealTime()
#define CORVANE_BENCH_SYNC(function, name) BENCHMARK(function)->Name("queue.sync/" name)->UseRealTime()
