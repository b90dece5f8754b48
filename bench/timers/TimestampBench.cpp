#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <string>

#include "corvane/core/Timeval.h"

namespace {

struct Now {
  timespec ts{};
  tm parts{};
  Now() {
    clock_gettime(CLOCK_REALTIME, &ts);
    localtime_r(&ts.tv_sec, &parts);
  }
  long usec() const { return ts.tv_nsec / 1000; }
};

void corvaneTimestamp(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(corvane::Timeval().timestamp());
}

void formatted(benchmark::State& state) {
  for (auto _ : state) {
    const Now now;
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%04d/%02d/%02d %02d:%02d:%02d.%06ld", now.parts.tm_year + 1900,
                  now.parts.tm_mon + 1, now.parts.tm_mday, now.parts.tm_hour, now.parts.tm_min, now.parts.tm_sec,
                  now.usec());
    benchmark::DoNotOptimize(std::string(text.data()));
  }
}

void standard(benchmark::State& state) {
  for (auto _ : state) {
    const Now now;
    std::array<char, 64> text;
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y/%m/%d %H:%M:%S", &now.parts);
    std::snprintf(text.data() + length, text.size() - length, ".%06ld", now.usec());
    benchmark::DoNotOptimize(std::string(text.data()));
  }
}

void stream(benchmark::State& state) {
  for (auto _ : state) {
    const Now now;
    std::ostringstream out;
    out << std::put_time(&now.parts, "%Y/%m/%d %H:%M:%S") << '.' << std::setw(6) << std::setfill('0') << now.usec();
    benchmark::DoNotOptimize(out.str());
  }
}

void localTimeOnly(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Now());
}

BENCHMARK(corvaneTimestamp)->Name("timestamp/Corvane Timeval");
BENCHMARK(formatted)->Name("timestamp/snprintf");
BENCHMARK(standard)->Name("timestamp/strftime");
BENCHMARK(stream)->Name("timestamp/std::put_time");
BENCHMARK(localTimeOnly)->Name("timestamp/localtime_r alone");

}  // namespace
