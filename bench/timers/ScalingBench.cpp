// What one run of a repeater costs in processor time, by the number of registered repeaters.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/timers/Runs.h"

namespace {

// One repeater runs every millisecond; the others are registered and wait.
void oneAmong(benchmark::State& state, int registered) {
  for (auto _ : state) {
    bench::Runs runs;
    for (int i = 1; i < registered; ++i) runs.add(1000, runs.base());
    runs.add(0.001, runs.base());
    runs.measure(state);
  }
}

void allOf(benchmark::State& state, int registered) {
  for (auto _ : state) bench::runsOfAll(state, registered);
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
