#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/broadcaster/Broadcast.h"
#include "corvane/core/Clock.h"
#include "corvane/infra/Broadcaster.h"

namespace {

class Hearer : public corvane::Listener {
  void onBroadcast(const std::string&, const std::any& object) override { bench::hear(*std::any_cast<int>(&object)); }
};

void broadcast(benchmark::State& state, int listeners) {
  std::vector<std::shared_ptr<corvane::Listener>> hearers;
  for (int i = 0; i < listeners; ++i) corvane::AddListener("key", hearers.emplace_back(std::make_shared<Hearer>()));
  const std::string key = "key";
  for (auto _ : state) corvane::Broadcast(key, 1);
  for (const auto& hearer : hearers) corvane::RemoveListener("key", hearer);
}

// What remains when reading the clock costs nothing: the library's manual clock is a variable.
void broadcastWithoutClock(benchmark::State& state, int listeners) {
  corvane::Clock::setManual(0);
  broadcast(state, listeners);
  corvane::Clock::endManual();
}

void functions(benchmark::State& state, int listeners) {
  const std::vector<std::function<void(int)>> hearers(static_cast<std::size_t>(listeners), bench::hear);
  for (auto _ : state)
    for (const auto& hear : hearers) hear(1);
}

CORVANE_BENCH_BROADCAST(broadcast, "Corvane Broadcast");
CORVANE_BENCH_BROADCAST(broadcastWithoutClock, "Corvane, clock for free");
CORVANE_BENCH_BROADCAST(functions, "vector of functions");

}  // namespace
