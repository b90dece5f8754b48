#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"

namespace corvane {

/// One process, by its id: what it is, and the application that it may be. A PID holds the id and nothing else: every
/// member asks the system afresh, and a process may end, and its id become another's, between two of them. Ids that no
/// process has are allowed; the answers are then empty. Any thread.
///
///     const corvane::PID pid(4711);
///     if (pid.isApplication() && !pid.isFrontMost()) pid.bringToFront();
///
/// What an application is, and how Linux knows of it, tells corvane/platform/RunningApplications.h. Those four members
/// wait for other programs (X server, window manager, session bus), for at most 5 s.
class CORVANE_API PID {
 public:
  explicit PID(std::int32_t pid) : m_pid(pid) {}

  /// The scheduling priority, on Linux the niceness: from -20, the most favoured, to 19. -1 is a value, and also what a
  /// process that is not there has. A negative id ends the program.
  int priority() const;

  /// The path of the executable; empty if there is none (a kernel thread), if the user may not know it, or from
  /// 1,024 bytes on. Bytes of it that are not UTF-8 become U+FFFD; procinfo_pidpath() gives them as they are.
  std::string path() const;

  /// The short name, up to 31 bytes of it; the last component of the path if it has none. The same holds for bytes that
  /// are not UTF-8.
  std::string name() const;

  /// The arguments that the program was started with, its own name first, or what the process has written there since.
  /// Empty for a kernel thread and a process that has ended. Bytes that are not UTF-8 become U+FFFD. On Linux this
  /// reads the process's memory, and waits while the process is busy changing it.
  std::vector<std::string> arguments() const;

  /// The same as one text for people: with blanks between the arguments and no quotes around them.
  std::string commandLine() const;

  /// The path of the application's bundle, for Bundle::at() and Bundle::icon(): a wrapper, or on Linux a desktop entry.
  /// Empty if the process is not an application or nothing stands for it.
  std::string bundlePath() const;

  /// Whether the process is what a user would call a running application.
  bool isApplication() const;

  /// Brings the application's windows in front of all others, the top one to the keyboard; nothing if the process is
  /// not an application. The windows come when the window manager has found time for it. What keeps them from it goes
  /// to the log.
  void bringToFront() const;

  /// Whether it is the application that the user works with. False where the desktop does not tell (no X server).
  bool isFrontMost() const;

 private:
  std::int32_t m_pid = -1;
};

}  // namespace corvane
