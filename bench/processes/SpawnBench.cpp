#include "bench/processes/Spawn.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "corvane/core/Mutex.h"
#include "corvane/system/Execute.h"

namespace {

bool bareSpawn() {
  char name[] = "/bin/true";
  char* const arguments[] = {name, nullptr};
  pid_t process = 0;
  int status = -1;
  return posix_spawn(&process, name, nullptr, nullptr, arguments, environ) == 0 &&
         waitpid(process, &status, 0) == process && status == 0;
}

bool pipedSpawn() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  char name[] = "/bin/true";
  char* const arguments[] = {name, nullptr};
  pid_t process = 0;
  const bool started = posix_spawn(&process, name, &actions, nullptr, arguments, environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  char byte = 0;
  const bool ended = read(ends[0], &byte, 1) == 0;
  close(ends[0]);
  int status = -1;
  return started && ended && waitpid(process, &status, 0) == process && status == 0;
}

bool corvaneSync() {
  return corvane::Execute::syncWithStatus("/bin/true", {}).first == 0;
}

bool corvaneTask() {
  const auto task = corvane::Task::create({.executable = "/bin/true"});
  if (!task->launch()) return false;
  task->waitUntilExit();
  return task->terminationStatus() == 0;
}

constexpr char GIBIBYTE[] = "head -c 1073741824 /dev/zero";

// Zeros, which are valid text.
void readPipe(benchmark::State& state) {
  for (auto _ : state) {
    corvane::Mutex mutex;
    bool ended = false;
    std::size_t bytes = 0;
    const auto task =
        corvane::Execute::readPipe("/bin/sh", corvane::QoS::DEFAULT, {"-c", std::string("exec ") + GIBIBYTE}, {},
                                   [&](const std::optional<std::string>& text) {
                                     if (text) {
                                       bytes += text->size();
                                       return;
                                     }
                                     corvane::MutexLock lock(mutex);
                                     ended = true;
                                     mutex.broadcast();
                                   });
    mutex.waitloop([] {}, [&] { return !ended; }, [] {}, corvane::COND_WAIT_FOREVER);
    if (bytes != std::size_t{1} << 30) state.SkipWithError("not all");
    task->waitUntilExit();
  }
}

void cat(benchmark::State& state) {
  for (auto _ : state)
    if (std::system((std::string(GIBIBYTE) + " | cat >/dev/null").c_str()) != 0) state.SkipWithError("cat");
}

BENCHMARK(readPipe)->Name("readpipe.gib/Corvane readPipe")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(cat)->Name("readpipe.gib/cat to dev null")->UseRealTime()->Unit(benchmark::kMillisecond);

[[maybe_unused]] const bool s_registered = [] {
  bench::spawns("Corvane syncWithStatus", corvaneSync);
  bench::spawns("Corvane Task", corvaneTask);
  bench::spawns("posix_spawn", bareSpawn);
  bench::spawns("posix_spawn with a pipe", pipedSpawn);
  return true;
}();

}  // namespace
