#include <benchmark/benchmark.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "bench/Measure.h"
#include "bench/log/Log.h"

namespace {

template <class Sink>
void rotating(benchmark::State& state) {
  const bench::TemporaryFolder folder;
  const std::string path = folder.path() + "/log";
  for (auto _ : state) {
    spdlog::logger logger("a.b.Bench", std::make_shared<Sink>(path, 10'000'000, 10));
    logger.set_pattern("%Y/%m/%d %H:%M:%S.%f %P %n %v");
    logger.flush_on(spdlog::level::info);
    logger.info("begin");
    const std::int64_t begin = bench::nowNsec();
    for (int i = 0; i < bench::LINES; ++i) logger.info(bench::MESSAGE);
    state.SetIterationTime(static_cast<double>(bench::nowNsec() - begin) * 1e-9 / bench::LINES);
    unlink(path.c_str());
  }
}

CORVANE_BENCH_LOG(rotating<spdlog::sinks::rotating_file_sink_mt>, "spdlog rotating_file_sink_mt");
CORVANE_BENCH_LOG(rotating<spdlog::sinks::rotating_file_sink_st>, "spdlog rotating_file_sink_st");

}  // namespace
