#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "corvane/platform/Platform.h"

namespace corvane::inspector {

/// examples/slow-timer as a program that can be looked into, until the end of the scope.
class SlowProgram {
 public:
  SlowProgram() {
    char* const arguments[] = {m_name, nullptr};
    if (posix_spawn(&m_pid, SLOW_TIMER, nullptr, nullptr, arguments, environ) != 0) m_pid = 0;
  }
  ~SlowProgram() {
    if (m_pid > 0) ::kill(m_pid, SIGKILL), waitpid(m_pid, nullptr, 0);
  }
  SlowProgram(const SlowProgram&) = delete;
  SlowProgram& operator=(const SlowProgram&) = delete;

  pid_t pid() const { return m_pid; }
  bool isServing() const {
    const auto pids = platform().diagnosticsPort().programs();
    return pids && std::ranges::find(*pids, m_pid) != pids->end();
  }

 private:
  char m_name[11] = "slow-timer";
  pid_t m_pid = 0;
};

}  // namespace corvane::inspector
