#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>

namespace bench {

/// A program from this one's folder, ended by closing its standard input.
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

  pid_t pid() const { return m_pid; }

 private:
  pid_t m_pid = -1;
  int m_input = -1;
};

}  // namespace bench
