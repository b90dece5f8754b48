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

/// Queues `work` on the main queue whoever calls, so it never runs before this returns. Any thread.
CORVANE_API void main_post(std::function<void()> work);

/// Runs `work` on the main queue: at once if the caller is there, otherwise when the main loop comes to it; returns
/// when it has run. Without a running main loop a caller on another thread waits for one. Work must not throw.
template <class Work>
void main_sync(Work&& work) {
  if (IsMainQueue())
    work();
  else
    submitAndWait(main_post, work);
}

/// Runs `work` on the main queue: at once, before this returns, if the caller is there; otherwise later, without
/// waiting. Work must not throw.
CORVANE_API void main_async(std::function<void()> work);

/// Runs `work` once on the main queue, `seconds` from now, unless the handle cancels it; never before this returns. Any
/// thread. Work must not throw.
CORVANE_API Delayed main_after(double seconds, std::function<void()> work);

/// The main loop for programs without a toolkit. (A Qt or GTK program runs the toolkit's loop instead.)
struct CORVANE_API MainLoop {
  /// Runs the main queue's work until quit(). On the main queue only (fatal elsewhere); calls may nest.
  static void run();

  /// Makes the innermost run() return once the work queued before is done; if none runs, the next one returns so.
  /// Any thread.
  static void quit();

  /// From now on SIGTERM and SIGINT (Ctrl-C) make the innermost run() return like quit(), so that a program can put its
  /// things in order after it; a second one of the same kind ends the process as usual. A signal that the process was
  /// started to ignore stays ignored. Nothing runs in the signal's own context, so main-queue work may do as it likes;
  /// in turn a main loop that hangs does not notice the first signal. The program must not handle these two signals
  /// by other means, nor block them. Call it once, on the main queue.
  static void quitOnSignals();
};

}  // namespace corvane
