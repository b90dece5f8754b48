#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// Ends the process because of a programming error: writes "fatal: " and the message to standard error as one line,
/// then aborts. Any thread.
[[noreturn]] CORVANE_API void fatal(std::string_view message) noexcept;

/// Calls `work`, which must not throw: an exception that leaves it ends the process through fatal(), with the
/// exception's text. For work that runs on a thread of the library or inside a foreign event loop; `what` names it.
template <class Work>
void callOrFatal(Work&& work, const char* what = "the work of a thread or queue") noexcept {
  try {
    work();
  } catch (const std::exception& error) {
    fatal(std::string("an exception left ") + what + ": " + error.what());
  } catch (...) {
    fatal(std::string("an exception left ") + what);
  }
}

}  // namespace corvane
