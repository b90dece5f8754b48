#include <sigc++/sigc++.h>

#include "bench/broadcaster/Broadcast.h"

namespace {

// Not thread-safe, unlike the others.
void sigcSignal(benchmark::State& state, int listeners) {
  sigc::signal<void, int> signal;
  for (int i = 0; i < listeners; ++i) signal.connect(sigc::ptr_fun(bench::hear));
  for (auto _ : state) signal(1);
}

CORVANE_BENCH_BROADCAST(sigcSignal, "sigc++, one thread only");

}  // namespace
