#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <array>

#include "corvane/algorithms/PIDControl.h"

namespace {

// So many controllers in turn that more than a microsecond passes between two steps of each (a step within the same
// microsecond does nothing), and so few that they stay in the first cache: a step is measured, not memory.
constexpr std::size_t CONTROLLERS = 64;
constexpr double SETPOINT = 40, INPUT = 30;

void step(benchmark::State& state, bool useLPF) {
  std::array<corvane::PIDControl, CONTROLLERS> controllers;
  for (auto& control : controllers) {
    control.bounds(0, 100);
    control.output(SETPOINT, INPUT, false);
    control.coeff(0.5, 0, 0.01);
  }
  double sum = 0;
  std::size_t next = 0;
  for (auto _ : state) {
    corvane::PIDControl& control = controllers[next++ % CONTROLLERS];
    sum += control.output(SETPOINT, INPUT, useLPF);
  }
  const double mean = sum / static_cast<double>(state.iterations());
  // 45 is the output; the setpoint would be that of a step that did nothing.
  if (sum > 1e6 && (mean < 44.5 || mean > 45.5)) state.SkipWithError("steps are missing");
}

void plain(benchmark::State& state) {
  step(state, false);
}
void filtered(benchmark::State& state) {
  step(state, true);
}

void clockReadings(benchmark::State& state) {
  for (auto _ : state) {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    benchmark::DoNotOptimize(ts);
    clock_gettime(CLOCK_REALTIME, &ts);
    benchmark::DoNotOptimize(ts);
  }
}

// The same law on plain numbers, with a time step that the caller knows.
void arithmetic(benchmark::State& state) {
  double dt = 0.01, setpoint = SETPOINT, input = INPUT, last = INPUT, integral = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(dt);
    benchmark::DoNotOptimize(setpoint);
    benchmark::DoNotOptimize(input);
    const double error = setpoint - input;
    integral = std::min(std::max(integral + 0.1 * error * dt, 0.0), 100.0);
    const double out = setpoint + 0.5 * error + integral - 0.01 * (input - last) / dt;
    last = input;
    benchmark::DoNotOptimize(std::min(std::max(out, 0.0), 100.0));
  }
}

BENCHMARK(plain)->Name("pid/Corvane PIDControl");
BENCHMARK(filtered)->Name("pid/Corvane PIDControl, filtered");
BENCHMARK(clockReadings)->Name("pid/two clock readings");
BENCHMARK(arithmetic)->Name("pid/plain numbers");

}  // namespace
