#include "apps/inspector/terminal/TerminalGuard.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>

namespace corvane::inspector {

namespace {

// Signals that end the process by default and that the main loop does not handle.
constexpr std::array SIGNALS = {SIGABRT, SIGBUS,  SIGFPE,  SIGILL,  SIGQUIT, SIGSEGV,
                                SIGSYS,  SIGTRAP, SIGALRM, SIGUSR1, SIGUSR2};

// For the signal handler: plain memory, filled before it is installed.
struct State {
  std::atomic<bool> armed = false;
  termios settings{};
  std::array<char, 512> sequence{};
  std::size_t length = 0;
  HeldStderr* held = nullptr;
};
State s_state;
std::array<struct sigaction, SIGNALS.size()> s_previous{};

void restore() noexcept {
  if (!s_state.armed.exchange(false)) return;
  [[maybe_unused]] const auto written = write(STDOUT_FILENO, s_state.sequence.data(), s_state.length);
  tcsetattr(STDIN_FILENO, TCSADRAIN, &s_state.settings);
  s_state.held->release();
}

// SA_RESETHAND has restored the default; raised again, the signal takes effect when the handler returns.
void onSignal(int number) {
  restore();
  raise(number);
}

}  // namespace

TerminalGuard::TerminalGuard(HeldStderr& held) {
  s_state.held = &held;
  tcgetattr(STDIN_FILENO, &s_state.settings);
  [[maybe_unused]] static const int once = std::atexit(restore);
}

void TerminalGuard::arm(const std::string& sequence) {
  s_state.length = std::min(sequence.size(), s_state.sequence.size());
  std::copy_n(sequence.begin(), s_state.length, s_state.sequence.begin());
  s_state.armed = true;
  struct sigaction action {};
  action.sa_handler = onSignal;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (std::size_t i = 0; i < SIGNALS.size(); ++i) sigaction(SIGNALS[i], &action, &s_previous[i]);
}

TerminalGuard::~TerminalGuard() {
  if (!s_state.armed.exchange(false)) return;
  for (std::size_t i = 0; i < SIGNALS.size(); ++i) sigaction(SIGNALS[i], &s_previous[i], nullptr);
}

}  // namespace corvane::inspector
