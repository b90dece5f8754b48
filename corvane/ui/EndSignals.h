#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

#include "corvane/core/Files.h"

namespace corvane {

/// Calls a function before a signal ends the process: SIGTERM, SIGINT (Ctrl-C) and SIGHUP, as long as the application
/// does not handle them itself. The function runs on the main thread from its event loop; then the process ends as it
/// would have. A second signal of the same kind ends it at once, so a main loop that hangs does not keep it. One object
/// at a time. Main thread.
class EndSignals {
 public:
  explicit EndSignals(std::function<void()> work);
  ~EndSignals();
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

 private:
  void end();

  const std::function<void()> m_work;
  FileDescriptor m_reading;
  FileDescriptor m_writing;
  std::unique_ptr<QSocketNotifier> m_notifier;
};

}  // namespace corvane
