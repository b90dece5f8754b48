// What diagnostics cost a program: switched off, started with nobody looking, while it is recorded, and while somebody
// looks.
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "bench/Child.h"
#include "bench/Measure.h"
#include "bench/timers/Runs.h"
#include "corvane/core/Activity.h"
#include "corvane/core/Clock.h"
#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/infra/Diagnostics.h"
#include "corvane/platform/Platform.h"

namespace {

using namespace std::chrono_literals;

enum class Mode { OFF, STARTED, RECORDING };

class Diagnosed {
 public:
  explicit Diagnosed(benchmark::State& state, Mode mode) {
    // As in every program with repeaters there is a second thread, with or without diagnostics: locks and allocations
    // cost less as long as a process has had only one.
    corvane::MasterTimer::instance()->start();
    if (mode != Mode::OFF && !corvane::Diagnostics::start()) state.SkipWithError("diagnostics do not start");
    if (mode == Mode::RECORDING && !corvane::Diagnostics::record(60)) state.SkipWithError("nothing is recorded");
  }
  ~Diagnosed() {
    (void)corvane::Diagnostics::record(0);
    corvane::Diagnostics::stop();
  }
  Diagnosed(const Diagnosed&) = delete;
  Diagnosed& operator=(const Diagnosed&) = delete;
};

void repeaterRun(benchmark::State& state, Mode mode) {
  const Diagnosed diagnosed(state, mode);
  for (auto _ : state) bench::runsOfAll(state, 10);
}

constexpr benchmark::IterationCount BATCH = 1000;

void mainItem(benchmark::State& state, Mode mode) {
  const Diagnosed diagnosed(state, mode);
  while (state.KeepRunningBatch(BATCH)) {
    for (benchmark::IterationCount i = 0; i < BATCH; ++i) corvane::main_post([] {});
    corvane::MainLoop::quit();
    corvane::MainLoop::run();
  }
}

void queueItem(benchmark::State& state, Mode mode) {
  const Diagnosed diagnosed(state, mode);
  corvane::DispatchQueueSerial queue("bench", corvane::QoS::DEFAULT);
  while (state.KeepRunningBatch(BATCH)) {
    for (benchmark::IterationCount i = 0; i < BATCH; ++i) queue.async([] {});
    queue.sync([] {});
  }
}

void note(benchmark::State& state) {
  const corvane::Activity::Watch watch;
  const std::string name = "redraw thumbnails";
  for (auto _ : state) {
    const std::int64_t start = corvane::Clock::now();
    corvane::Activity::note(corvane::Activity::Kind::REPEATER, start, corvane::Clock::now(), name);
  }
}

void twoReadings(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(corvane::Clock::now());
    benchmark::DoNotOptimize(corvane::Clock::now());
  }
}

// The program ManyRepeaters, and what it costs.
class Application {
 public:
  explicit Application(benchmark::State& state) {
    for (int tries = 0; tries < 100; ++tries) {
      std::this_thread::sleep_for(50ms);
      if (const auto connected = connect(); connected && connected->repeaters()->size() == 10'000) return;
    }
    state.SkipWithError("ManyRepeaters cannot be looked at");
  }

  std::shared_ptr<corvane::Inspectable> connect() const {
    return corvane::platform().diagnosticsPort().connect(m_child.pid()).value_or(nullptr);
  }

  std::int64_t cpuNsec() const {
    clockid_t clock{};
    return clock_getcpuclockid(m_child.pid(), &clock) == 0 ? bench::nowNsec(clock) : 0;
  }

 private:
  const bench::Child m_child{"ManyRepeaters"};
};

// What a view asks for each second.
void look(corvane::Inspectable& program) {
  benchmark::DoNotOptimize(program.repeaters());
  benchmark::DoNotOptimize(program.queues());
}

constexpr int SECONDS = 5;

std::int64_t cpuOfSeconds(const Application& application, const std::shared_ptr<corvane::Inspectable>& viewer) {
  const std::int64_t before = application.cpuNsec();
  for (int second = 0; second < SECONDS; ++second) {
    if (viewer) look(*viewer);
    std::this_thread::sleep_for(1s);
  }
  return (application.cpuNsec() - before) / SECONDS;
}

// The processor time of the application in each second, with and without a viewer.
void viewer(benchmark::State& state, bool isAttached) {
  const Application application(state);
  std::shared_ptr<corvane::Inspectable> viewer;
  std::shared_ptr<void> watch;
  if (isAttached) {
    viewer = application.connect();
    if (!viewer) return state.SkipWithError("no connection");
    watch = viewer->watch().value_or(nullptr);
    look(*viewer);
  }
  for (auto _ : state) state.SetIterationTime(static_cast<double>(cpuOfSeconds(application, viewer)) * 1e-9);
}

// From nothing to all figures of the first screen.
void attach(benchmark::State& state) {
  const Application application(state);
  for (auto _ : state) {
    const auto program = application.connect();
    if (!program) return state.SkipWithError("no connection");
    const auto watch = program->watch();
    benchmark::DoNotOptimize(program->identity());
    look(*program);
  }
}

const bool s_registered = [] {
  for (const auto& [mode, name] :
       {std::pair{Mode::OFF, "off"}, {Mode::STARTED, "started"}, {Mode::RECORDING, "recording"}}) {
    const std::string suffix = std::string("/") + name;
    benchmark::RegisterBenchmark(("diagnostics.run" + suffix).c_str(), repeaterRun, mode)
        ->Iterations(1)
        ->UseManualTime();
    benchmark::RegisterBenchmark(("diagnostics.main" + suffix).c_str(), mainItem, mode)->UseRealTime();
    benchmark::RegisterBenchmark(("diagnostics.queue" + suffix).c_str(), queueItem, mode)->UseRealTime();
  }
  return true;
}();

BENCHMARK(note)->Name("diagnostics.note/noted");
BENCHMARK(twoReadings)->Name("diagnostics.note/two clock readings");
BENCHMARK_CAPTURE(viewer, attached, true)->Name("diagnostics.viewer/attached")->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(viewer, alone, false)->Name("diagnostics.viewer/alone")->Iterations(1)->UseManualTime();
BENCHMARK(attach)->Name("diagnostics.attach/10,000 repeaters")->UseRealTime();

}  // namespace
