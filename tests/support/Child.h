#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace corvane {

/// A process that lives until the end of the scope.
class Child {
 public:
  /// A copy of this process that calls `prepare`, reports that it has, and sleeps.
  explicit Child(const std::function<void()>& prepare) {
    std::array<int, 2> ready{};
    if (pipe(ready.data()) != 0) throw std::runtime_error("no pipe for a child");
    m_pid = fork();
    if (m_pid < 0) throw std::runtime_error("no child");
    if (m_pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      prepare();
      if (write(ready[1], "", 1) == 1)
        for (;;) pause();
      _exit(1);
    }
    close(ready[1]);
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
  }

  /// A program, found in PATH.
  explicit Child(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    // Thrown, because a signal to the process -1 would end all that the user runs.
    if (posix_spawnp(&m_pid, pointers[0], nullptr, nullptr, pointers.data(), environ) != 0)
      throw std::runtime_error("no program " + arguments[0]);
  }

  ~Child() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return m_pid; }

 private:
  pid_t m_pid = -1;
};

}  // namespace corvane
