// ticker: tasks that run at intervals, all on one thread, and what each of them costs.

#include <cstdio>
#include <memory>
#include <string_view>

#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/core/Text.h"
#include "corvane/core/Timeval.h"

namespace {

constexpr const char* USAGE =
    "Usage: ticker [SECONDS]\n"
    "Runs two repeaters for that long, 5 seconds unless told otherwise, and prints what they cost.\n";

// Whether it has no divisor: what the second repeater has to do.
bool isPrime(int number) {
  for (int divisor = 2; divisor * divisor <= number; ++divisor)
    if (number % divisor == 0) return false;
  return true;
}

void printStatistics() {
  std::printf("\n%-14s %6s %12s %18s\n", "repeater", "runs", "a run, us", "interval, ms");
  for (const auto& stats : corvane::MasterTimer::instance()->repeaterStats()) {
    const auto& interval = stats.interval_stats;
    std::printf("%-14s %6lld %12.1f %10.2f +- %.2f\n", stats.name.c_str(), static_cast<long long>(stats.count),
                stats.elapsed_stats.smoothed, interval.smoothed / 1000, interval.deviation / 1000);
  }
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view argument = count > 1 ? arguments[1] : "5";
  if (argument == "--help") return std::fputs(USAGE, stdout) < 0;
  const auto seconds = corvane::numberIn<double>(argument);
  if (count > 2 || !seconds || !(*seconds > 0 && *seconds <= 86400)) {
    std::fprintf(stderr, "ticker: the argument must be a number of seconds, up to a day\n%s", USAGE);
    return 2;
  }
  corvane::MasterTimer::instance()->start();

  // Each task runs at once, and then at its interval, on the main queue. The names are those in the statistics.
  const auto clock = std::make_shared<corvane::Repeater>("clock");
  clock->start(1, [] { std::puts(corvane::Timeval().localtime().c_str()); });

  int candidate = 1'000'000'000;
  const auto search = std::make_shared<corvane::Repeater>("primes");
  search->start(0.1, [&candidate] {
    while (!isPrime(++candidate)) {
    }
  });

  const corvane::Delayed end = corvane::main_after(*seconds, [] { corvane::MainLoop::quit(); });
  corvane::MainLoop::quitOnSignals();
  corvane::MainLoop::run();
  printStatistics();
  std::printf("the last prime number was %d\n", candidate);
}
