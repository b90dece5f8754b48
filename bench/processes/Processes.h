#pragma once

#include <benchmark/benchmark.h>

namespace bench {

/// At least 2,000 processes on this machine until the end of the program: sleeping copies of this one, of an ordinary
/// user, as most are on a desktop.
void needProcesses();

/// Times `look`, which goes through all processes and says how many there are; zero is a failure.
template <class Look>
void snapshots(benchmark::State& state, Look&& look) {
  needProcesses();
  long seen = 0;
  for (auto _ : state) {
    seen = look();
    if (seen <= 0) state.SkipWithError("no processes");
  }
  state.counters["processes"] = static_cast<double>(seen);
}

}  // namespace bench
