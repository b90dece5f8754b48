// How long after the signal a waiting thread runs.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "bench/Measure.h"
#include "bench/locks/Futex.h"
#include "corvane/core/Mutex.h"

namespace {

// `Held` signals with the lock held; otherwise the lock is released first, as with the bare futex.
template <bool Held>
struct CorvaneCondition {
  corvane::Mutex mutex;
  int value = 0;
  void signal(int next) {
    corvane::MutexLock lock(mutex);
    value = next;
    if (!Held) lock.unlock();
    mutex.broadcast();
  }
  void waitFor(int wanted) {
    corvane::MutexLock lock(mutex);
    while (value != wanted) mutex.wait();
  }
};

template <bool Held>
struct StdCondition {
  std::mutex mutex;
  std::condition_variable condition;
  int value = 0;
  void signal(int next) {
    std::unique_lock lock(mutex);
    value = next;
    if (!Held) lock.unlock();
    condition.notify_all();
  }
  void waitFor(int wanted) {
    std::unique_lock lock(mutex);
    while (value != wanted) condition.wait(lock);
  }
};

template <class Condition>
void wake(benchmark::State& state) {
  constexpr int ROUNDS = 50'000;
  const bench::OneProcessor one;
  for (auto _ : state) {
    Condition there;
    Condition back;
    std::int64_t signalled = 0;
    bench::Samples samples;
    samples.reserve(ROUNDS);
    std::thread waiter([&] {
      for (int round = 1; round <= ROUNDS; ++round) {
        there.waitFor(round);
        samples.add(bench::nowNsec() - signalled);
        back.signal(round);
      }
    });
    for (int round = 1; round <= ROUNDS; ++round) {
      signalled = bench::nowNsec();
      there.signal(round);
      back.waitFor(round);
    }
    waiter.join();
    state.counters["p50_us"] = samples.usec(0.5);
    state.counters["p99_us"] = samples.usec(0.99);
  }
}

#define CORVANE_BENCH_WAKE(Type, name) BENCHMARK(wake<Type>)->Name(name)->Iterations(1)->UseRealTime()

CORVANE_BENCH_WAKE(CorvaneCondition<false>, "wake/Corvane Mutex");
CORVANE_BENCH_WAKE(StdCondition<false>, "wake/std::condition_variable");
CORVANE_BENCH_WAKE(bench::Futex, "wake/futex");
CORVANE_BENCH_WAKE(CorvaneCondition<true>, "wake.held/Corvane Mutex");
CORVANE_BENCH_WAKE(StdCondition<true>, "wake.held/std::condition_variable");

}  // namespace
