#pragma once

#include <benchmark/benchmark.h>

namespace bench {

/// Takes and releases one lock that all threads of the benchmark share, around one addition.
template <class Lock>
void lockUnlock(benchmark::State& state) {
  static Lock lock;
  static long counter = 0;
  for (auto _ : state) {
    lock.acquire();
    benchmark::DoNotOptimize(++counter);
    lock.release();
  }
}

}  // namespace bench

#define CORVANE_BENCH_LOCK(Type, name)                          \
  BENCHMARK(bench::lockUnlock<Type>)->Name("lock.alone/" name); \
  BENCHMARK(bench::lockUnlock<Type>)->Name("lock.contended/" name)->Threads(2)->UseRealTime()
