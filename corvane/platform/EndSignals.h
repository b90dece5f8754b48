#pragma once

#include <functional>
#include <memory>

#include "corvane/platform/Export.h"

namespace corvane {

/// Lets a program do something before a signal ends it: SIGTERM, SIGINT (Ctrl-C) or SIGHUP. The first one of each kind
/// calls a function with its number, on the main queue. A second one of that kind ends the process at once, so a main
/// loop that hangs does not keep it; raise(number) at the end shows the parent what ended the process.
///
/// Signals that are handled otherwise or ignored already are left alone, and the program may handle them itself at any
/// time. Of several objects the newest one gets the signals. A forked child is ended as usual. Main queue.
class CORVANE_API EndSignals {
 public:
  /// From now on the function is called with the number of the signal.
  explicit EndSignals(std::function<void(int number)> work);
  /// The signals end the process again. The function may do this.
  ~EndSignals();
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

  /// Whether there is an object. A library that would make one may leave that to the program.
  static bool exists();

 private:
  struct Pipe;
  std::unique_ptr<Pipe> m_pipe;  // null without descriptors; then signals end the process as usual
};

}  // namespace corvane
