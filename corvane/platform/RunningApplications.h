#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// The running applications: the processes that a user would call so, because they were started as an application or
/// have windows. Any thread; every call asks afresh and ends within 5 s, even if what it asks does not answer; until it
/// does, later calls fail at once. A process that does not exist is not an application.
///
/// On Linux a process is one if
/// - the desktop session started it as an application that has a desktop entry, which it does not hide from menus
///   (NoDisplay). Its unit shows that, app-[LAUNCHER-]ID-RANDOM.scope or app-[LAUNCHER-]ID[@RANDOM].service, if it is
///   the process that leads the unit; what that process starts is in the unit too, but is not an application for that.
///   So does its environment, by GIO_LAUNCHED_DESKTOP_FILE with its own id in GIO_LAUNCHED_DESKTOP_FILE_PID; or
/// - it has a window that the window manager of the X server (of DISPLAY) manages, and that is neither a desktop nor a
///   dock. The server says whose window it is; what windows say of themselves counts only where it does not know.
///
/// Wayland shows windows to nobody but their owner: without an X server, applications are known only if they were
/// started as such, and none is active.
class RunningApplications {
 public:
  virtual ~RunningApplications() = default;

  /// Whether the process is an application.
  virtual Result<bool> contains(pid_t pid) = 0;

  /// The file or folder that stands for the application, for Bundles::bundleAt(); an Error if the process is not an
  /// application, or if nothing stands for it.
  ///
  /// On Linux the wrapper that its executable lies in, else its desktop entry: that of the unit it leads, of its
  /// environment, of its windows' class (StartupWMClass, or the entry's name), of the unit it is in, or the one that
  /// starts its executable without arguments; the first of these that there is.
  virtual Result<std::string> path(pid_t pid) = 0;

  /// Asks that all windows of the application come to the front, and that it gets the keyboard. An Error if the
  /// process is not an application or nobody can be asked.
  ///
  /// On Linux the window manager is asked for each window, from the lowest to the highest; minimised ones come up
  /// too. An application without windows there is asked itself (org.freedesktop.Application.Activate) if its desktop
  /// entry says that it can be (DBusActivatable) and it is on the session bus.
  virtual Result<void> activate(pid_t pid) = 0;

  /// Whether the application has the window that the user works with.
  virtual Result<bool> isActive(pid_t pid) = 0;
};

template <>
CORVANE_API std::shared_ptr<RunningApplications> makeService<RunningApplications>();

}  // namespace corvane
