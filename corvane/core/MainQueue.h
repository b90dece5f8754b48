#pragma once

#include <functional>
#include <type_traits>
#include <utility>

#include "corvane/core/Completion.h"
#include "corvane/core/Delayed.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// True if the caller runs on the main queue: on the thread that runs the main loop (GLib's default main context on
/// Linux, which Qt and GTK applications run too) or, while no thread runs it, on the process's first thread. Any
/// thread.
CORVANE_API bool IsMainQueue();

/// Queues `work` on the main queue, even if called there, so it never runs before this returns. Any thread.
CORVANE_API void main_post(std::function<void()> work);

/// Runs `work` on the main queue and returns when it has run: at once if the caller is on the main queue, otherwise
/// when the main loop gets to it. If no main loop is running, a caller on another thread waits for one. Work must not
/// throw.
template <class Work>
void main_sync(Work&& work) {
  if (IsMainQueue())
    work();
  else
    submitAndWait(main_post, work);
}

/// Runs `work` on the main queue: before this returns if the caller is on the main queue, otherwise later, without
/// waiting. Work must not throw.
CORVANE_API void main_async(std::function<void()> work);

/// Runs `work` once on the main queue, `seconds` from now, unless it is cancelled through the handle; never before this
/// returns. Any thread. Work must not throw.
CORVANE_API Delayed main_after(double seconds, std::function<void()> work);

/// The main loop for programs without a toolkit. (A Qt or GTK program runs the toolkit's loop instead.)
struct CORVANE_API MainLoop {
  /// Runs the main queue's work until quit(). On the main queue only (fatal elsewhere); calls may nest.
  static void run();

  /// Makes the innermost run() return once the work queued so far is done. If run() is not active, the next call
  /// returns in the same way. Any thread.
  static void quit();

  /// From now on SIGTERM, SIGINT (Ctrl-C) and SIGHUP make the innermost run() return as quit() does, so that a program
  /// can clean up after it. A second signal of the same kind ends the process as usual. A signal that was ignored when
  /// the process started stays ignored. No code runs in the signal context, so work on the main queue is not
  /// restricted; on the other hand, a main loop that hangs does not notice the first signal. The program must not
  /// handle these signals by other means or block them. Call this once, on the main queue.
  static void quitOnSignals();
};

}  // namespace corvane
