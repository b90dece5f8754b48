#pragma once

#include <functional>
#include <memory>

#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// The queue of the process's main (user-interface) loop. All members: any thread, unless said otherwise.
///
/// @feature The main loop and queue: `MainLoop`, `MainQueue`, `main_after`, `Repeater`.
/// @needs Nothing beyond GLib, whose main context is also Qt's and GTK's loop.
/// @without Always there.
class MainQueue {
 public:
  virtual ~MainQueue() = default;

  /// True if the caller runs on the main queue: on the thread that owns the main loop or, while no thread owns it, on
  /// the process's first thread.
  virtual bool isCurrent() = 0;

  /// Queues work; items run one at a time in the order of posting, on the main queue, once the main loop runs. Work
  /// must not throw: an exception that leaves it ends the process.
  virtual void post(std::function<void()> work) = 0;

  /// Runs the main loop until quit(); for programs without a toolkit that does so. On the main queue only; calls may
  /// nest.
  virtual void run() = 0;

  /// Makes the innermost run() return after the items posted so far. If run() is not active, the next call returns in
  /// the same way.
  virtual void quit() = 0;

  /// Makes the first SIGTERM, SIGINT and SIGHUP call quit(), unless the signal is ignored; after that each signal has
  /// its default action again.
  virtual void quitOnSignals() = 0;

  /// How many items wait and what runs (as far as Activity is on): for diagnostics.
  virtual QueueState state() = 0;

  /// Whether the turns of the loop are noted by Activity.
  virtual void watchLoop(bool on) = 0;
};

template <>
CORVANE_API std::shared_ptr<MainQueue> makeService<MainQueue>();

}  // namespace corvane
