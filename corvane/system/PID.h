#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"

namespace corvane {

/// A process, identified by its id, and the application that it may be. A PID holds nothing but the id: every member
/// asks the system again, and between two calls the process may end and its id may be reused. Ids of no process are
/// allowed; the answers are then empty. Any thread.
///
///     const corvane::PID pid(4711);
///     if (pid.isApplication() && !pid.isFrontMost()) pid.bringToFront();
///
/// corvane/platform/RunningApplications.h defines what an application is, and how it is recognised on Linux. The four
/// members about applications wait for other programs (X server, window manager, session bus), for at most 5 s.
class CORVANE_API PID {
 public:
  /// The process with this id, which need not exist.
  explicit PID(std::int32_t pid) : m_pid(pid) {}

  /// The scheduling priority; on Linux the niceness, from -20, the most favoured, to 19. -1 is a valid priority and
  /// also the result for a process that does not exist. A negative id ends the program.
  int priority() const;

  /// The path of the executable; empty if there is none (a kernel thread), if the user may not read it, or if it has
  /// 1,024 bytes or more. Bytes that are not UTF-8 become U+FFFD; procinfo_pidpath() returns them as they are.
  std::string path() const;

  /// The short name, at most 31 bytes of it; the last component of the path if it has none. Bytes that are not UTF-8
  /// become U+FFFD.
  std::string name() const;

  /// The arguments that the program was started with, its own name first, or what the process has since put in their
  /// place. Empty for a kernel thread or a process that has ended. Bytes that are not UTF-8 become U+FFFD. On Linux
  /// this reads the process's memory, and waits while the process is busy changing it.
  std::vector<std::string> arguments() const;

  /// The same as a single human-readable text: with blanks between the arguments and without quotes.
  std::string commandLine() const;

  /// The path of the application's bundle, for Bundle::at() and Bundle::icon(): a wrapper or, on Linux, a desktop
  /// entry. Empty if the process is not an application or no file represents it.
  std::string bundlePath() const;

  /// Whether the process is what a user would call a running application.
  bool isApplication() const;

  /// Brings the application's windows in front of all others and gives the top one the keyboard; does nothing if the
  /// process is not an application. The windows appear when the window manager gets to it. A failure is logged.
  void bringToFront() const;

  /// Whether it is the application that the user is working with. False if the desktop does not report this (without an
  /// X server).
  bool isFrontMost() const;

 private:
  std::int32_t m_pid = -1;
};

}  // namespace corvane
