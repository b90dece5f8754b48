#pragma once

#include <string>

#include "apps/inspector/terminal/HeldStderr.h"

namespace corvane::inspector {

/// Restores the user's terminal if the process ends while the screen is active: on a crash, abort(), an otherwise
/// unhandled signal, or exit(). One at a time; create it before the screen changes the terminal.
class TerminalGuard {
 public:
  explicit TerminalGuard(HeldStderr& held);

  /// Disarms the guard: the screen has ended properly.
  ~TerminalGuard();

  TerminalGuard(const TerminalGuard&) = delete;
  TerminalGuard& operator=(const TerminalGuard&) = delete;

  /// Arms the guard with the sequence to send to the terminal.
  void arm(const std::string& sequence);
};

}  // namespace corvane::inspector
