#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "bench/Measure.h"
#include "bench/log/Log.h"
#include "corvane/infra/Logger.h"
#include "corvane/testing/FakePlatform.h"

namespace {

constexpr char INFO[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
    "<key>CFBundleIdentifier</key><string>a.b.Bench</string><key>CFBundleName</key><string>Bench</string>"
    "</dict></plist>";

void corvaneLogger(benchmark::State& state) {
  const bench::TemporaryFolder folder;
  const corvane::FakePlatform fake(folder.path());
  fake.bundles->main.info = INFO;
  for (auto _ : state) {
    corvane::Logger logger;
    const std::string path = logger.path().value_or("");
    const std::int64_t begin = bench::nowNsec();
    for (int i = 0; i < bench::LINES; ++i) logger.log(bench::MESSAGE);
    state.SetIterationTime(static_cast<double>(bench::nowNsec() - begin) * 1e-9 / bench::LINES);
    // A file that has reached its limit takes no more lines, so nothing would be measured.
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || info.st_size < bench::LINES * 90) state.SkipWithError("lines are missing");
    state.counters["bytes"] = static_cast<double>(info.st_size) / (bench::LINES + 1);
    unlink(path.c_str());
  }
}

// The line as text, and only the system call.
void bareWrite(benchmark::State& state) {
  const bench::TemporaryFolder folder;
  const std::string path = folder.path() + "/log";
  const std::string line = std::string(40, '-') + bench::MESSAGE + '\n';
  for (auto _ : state) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    const std::int64_t begin = bench::nowNsec();
    for (int i = 0; i < bench::LINES; ++i)
      if (write(descriptor, line.data(), line.size()) < 0) state.SkipWithError("write");
    state.SetIterationTime(static_cast<double>(bench::nowNsec() - begin) * 1e-9 / bench::LINES);
    close(descriptor);
    unlink(path.c_str());
  }
}

CORVANE_BENCH_LOG(corvaneLogger, "Corvane Logger");
CORVANE_BENCH_LOG(bareWrite, "write(2)");

}  // namespace
