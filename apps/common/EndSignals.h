#pragma once

#include <csignal>
#include <functional>
#include <utility>

#include "apps/common/MainLoopSource.h"

namespace corvane {

/// The signals that ask a program to end: while this lives they call `quit`, on the main queue.
class EndSignals {
 public:
  explicit EndSignals(std::function<void()> quit) : m_quit(std::move(quit)) {}

  /// The signal that has arrived; 0 if none.
  int received() const { return m_received; }

  /// Ends the program as if this signal had arrived.
  void end(int number) {
    m_received = number;
    m_quit();
  }

 private:
  const std::function<void()> m_quit;
  int m_received = 0;
  MainLoopSource m_hangup = MainLoopSource::signal(SIGHUP, [this] { end(SIGHUP); });
  MainLoopSource m_interrupt = MainLoopSource::signal(SIGINT, [this] { end(SIGINT); });
  MainLoopSource m_terminate = MainLoopSource::signal(SIGTERM, [this] { end(SIGTERM); });
};

}  // namespace corvane
