// How much memory Corvane takes: the counters are bytes, the times are meaningless.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/Child.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"

namespace {

// A line of the kernel's summary of a child's memory, in bytes.
double memory(const bench::Child& child, const std::string& name) {
  std::ifstream file("/proc/" + std::to_string(child.pid()) + "/smaps_rollup");
  double sum = 0;
  for (std::string line; std::getline(file, line);)
    if (line.starts_with(name + ":")) sum += std::stod(line.substr(name.size() + 1)) * 1024;
  return sum;
}

// All resident pages, the child's share of those that are mapped elsewhere too, and those that it alone has.
void idle(benchmark::State& state, const char* program) {
  for (auto _ : state) {
    const bench::Child child(program);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    state.counters["rss"] = memory(child, "Rss");
    state.counters["pss"] = memory(child, "Pss");
    state.counters["private"] = memory(child, "Private_Dirty") + memory(child, "Private_Clean");
    state.SetIterationTime(1);
  }
}

void stoppedRepeaters(benchmark::State& state, bool ranBefore) {
  constexpr int COUNT = 10'000;
  for (auto _ : state) {
    std::vector<std::shared_ptr<corvane::Repeater>> all;
    all.reserve(COUNT);
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < COUNT; ++i) {
      all.push_back(std::make_shared<corvane::Repeater>("repeater " + std::to_string(i)));
      if (!ranBefore) continue;
      all.back()->start(1, [&all, i] { all[static_cast<std::size_t>(i)]->stop(); });
      all.back()->stop();
    }
    state.counters["bytes"] = static_cast<double>(mallinfo2().uordblks - before) / COUNT;
    state.SetIterationTime(1);
  }
}

BENCHMARK_CAPTURE(idle, Corvane, "IdleCorvane")->Name("memory.idle/Corvane")->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(idle, empty, "IdleEmpty")->Name("memory.idle/empty program")->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(stoppedRepeaters, fresh, false)->Name("memory.repeater/new")->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(stoppedRepeaters, stopped, true)->Name("memory.repeater/stopped")->Iterations(1)->UseManualTime();

}  // namespace
