#pragma once

#include <signal.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "corvane/platform/Result.h"
#include "corvane/system/Task.h"

namespace corvane::inspector {

/// Runs commands as a shell does: in this process's group, looked up in PATH. While a command runs, this process
/// receives the signals that would end it, and passes them on; those from the terminal's keys have already reached the
/// command.
class ChildCommand {
 public:
  /// Create it before other threads, so that all of them block these signals.
  ChildCommand();

  /// Runs a command until it has ended; `launched` is called when it has started. If it cannot be started, this reports
  /// why and returns the exit status for that: 127 if it is not found, otherwise 126.
  tl::expected<std::shared_ptr<Task>, int> run(
      const std::vector<std::string>& command, const std::function<void()>& launched = [] {}) const;

  /// The exit status that tells how a command has ended: its own, or 128 and the number of the signal.
  static int exitStatus(const Task& task);

 private:
  void forwardTo(Task& task) const;

  sigset_t m_set{};
};

}  // namespace corvane::inspector
