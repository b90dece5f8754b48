// How much memory Corvane takes: the counters are bytes, the times are meaningless.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"

namespace {

// A program from this one's folder, ended by closing its standard input.
class Child {
 public:
  explicit Child(const std::string& name) {
    const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) return;
    m_pid = fork();
    if (m_pid == 0) {
      dup2(ends[0], STDIN_FILENO);
      close(ends[0]);
      close(ends[1]);
      dup2(STDERR_FILENO, STDOUT_FILENO);
      execl(path.c_str(), path.c_str(), nullptr);
      _exit(127);
    }
    close(ends[0]);
    m_input = ends[1];
  }
  ~Child() {
    close(m_input);
    int status = 0;
    waitpid(m_pid, &status, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // A line of the kernel's summary of the child's memory, in bytes.
  double memory(const std::string& name) const {
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/smaps_rollup");
    double sum = 0;
    for (std::string line; std::getline(file, line);)
      if (line.starts_with(name + ":")) sum += std::stod(line.substr(name.size() + 1)) * 1024;
    return sum;
  }

 private:
  pid_t m_pid = -1;
  int m_input = -1;
};

// All resident pages, the child's share of those that are mapped elsewhere too, and those that it alone has.
void idle(benchmark::State& state, const char* program) {
  for (auto _ : state) {
    const Child child(program);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    state.counters["rss"] = child.memory("Rss");
    state.counters["pss"] = child.memory("Pss");
    state.counters["private"] = child.memory("Private_Dirty") + child.memory("Private_Clean");
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
