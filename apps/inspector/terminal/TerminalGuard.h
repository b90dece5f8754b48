#pragma once

#include <string>

#include "apps/inspector/terminal/HeldStderr.h"

namespace corvane::inspector {

/// Gives the user's terminal back when the process ends while the screen is up: on a crash, on abort(), on a signal
/// that nothing else handles, and on exit(). One at a time; made before the screen changes the terminal.
class TerminalGuard {
 public:
  explicit TerminalGuard(HeldStderr& held);

  /// Disarms: the screen has been ended in order.
  ~TerminalGuard();

  TerminalGuard(const TerminalGuard&) = delete;
  TerminalGuard& operator=(const TerminalGuard&) = delete;

  /// What the terminal must be sent. Armed from here on.
  void arm(const std::string& sequence);
};

}  // namespace corvane::inspector
