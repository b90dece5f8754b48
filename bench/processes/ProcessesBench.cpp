#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "bench/processes/Processes.h"
#include "corvane/core/Files.h"
#include "corvane/system/procinfo/procinfo.h"
#include "corvane/system/procinfo/proclist.h"

namespace bench {

namespace {

// Also ends them, so that the next program does not count dying ones.
class Sleepers {
 public:
  Sleepers() {
    constexpr int PROCESSES = 2000;
    constexpr uid_t NOBODY = 65534;
    for (int missing = PROCESSES - procinfo_allpids(nullptr, 0); missing > 0; --missing) {
      const pid_t pid = fork();
      if (pid < 0) std::abort();
      if (pid > 0) {
        m_pids.push_back(pid);
        continue;
      }
      if (geteuid() == 0 && setuid(NOBODY) != 0) _exit(1);
      prctl(PR_SET_DUMPABLE, 1);  // as after exec: changing the user gave the files in /proc to root
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (;;) pause();
    }
    usleep(300'000);  // until the last of them sleeps
  }
  ~Sleepers() {
    for (const pid_t pid : m_pids) kill(pid, SIGKILL);
    for (const pid_t pid : m_pids) waitpid(pid, nullptr, 0);
  }

 private:
  std::vector<pid_t> m_pids;
};

}  // namespace

void needProcesses() {
  static const Sleepers sleepers;
}

namespace {

long snapshot() {
  proclist_t list;
  proclist_create(&list);
  const long count = list.count;
  proclist_dispose(&list);
  return count;
}

// Only what every reader of /proc has to do.
long bareReads() {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc"), closedir);
  long count = 0;
  char buffer[2048];
  char path[300];
  while (const dirent* entry = readdir(folder.get())) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    char* const end = stpcpy(path, entry->d_name);
    std::memcpy(end, "/stat", 6);
    const int file = openat(dirfd(folder.get()), path, O_RDONLY | O_CLOEXEC);
    if (file < 0) continue;
    if (read(file, buffer, sizeof buffer) > 0) ++count;
    close(file);
  }
  return count;
}

long psCommand() {
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen("ps -e", "r"), pclose);
  long count = -1;  // the headline
  for (int character; output && (character = std::getc(output.get())) != EOF;) count += character == '\n' ? 1 : 0;
  return count;
}

void byName(benchmark::State& state) {
  snapshots(state, [] {
    benchmark::DoNotOptimize(procinfo_pidforname("no such process"));
    return 1;
  });
}

void bareNames(benchmark::State& state) {
  snapshots(state, bareReads);
}

// Whether a process is translated, in a snapshot of 2,000.
void translated(benchmark::State& state) {
  needProcesses();
  proclist_t list;
  proclist_create(&list);
  int32_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(proclist_pid_istranslated(&list, proclist_pid(&list, i)));
    i = (i + 997) % list.count;
  }
  proclist_dispose(&list);
}

void binarySearch(benchmark::State& state) {
  std::vector<int> pids(2000);
  std::iota(pids.begin(), pids.end(), 1);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::binary_search(pids.begin(), pids.end(), pids[i]));
    i = (i + 997) % pids.size();
  }
}

void list(benchmark::State& state) {
  snapshots(state, snapshot);
}

void ps(benchmark::State& state) {
  snapshots(state, psCommand);
}

BENCHMARK(list)->Name("processes/Corvane proclist_create")->UseRealTime();
BENCHMARK(bareNames)->Name("processes/openat + read of each stat")->UseRealTime();
BENCHMARK(ps)->Name("processes/ps -e")->UseRealTime();
BENCHMARK(byName)->Name("processes.name/Corvane procinfo_pidforname")->UseRealTime();
BENCHMARK(bareNames)->Name("processes.name/openat + read of each stat")->UseRealTime();
BENCHMARK(translated)->Name("processes.translated/Corvane proclist_pid_istranslated");
BENCHMARK(binarySearch)->Name("processes.translated/std::binary_search");

}  // namespace
}  // namespace bench
