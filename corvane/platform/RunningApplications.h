#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// The running applications: the processes that a user would call applications, because they were started as such or
/// have windows. Any thread. Every call asks again and ends within 5 s, even if the program that it asks does not
/// answer; until that program does, later calls fail at once. A process that does not exist is not an application.
///
/// On Linux a process is one if
/// - the desktop session started it as an application that has a desktop entry, which it does not hide from menus
///   (NoDisplay). Its unit shows that, app-[LAUNCHER-]ID-RANDOM.scope or `app-[LAUNCHER-]ID[@RANDOM].service`, if it is
///   the process that leads the unit; the processes that it starts are in the unit too, but that does not make them
///   applications. Its environment also shows that, by GIO_LAUNCHED_DESKTOP_FILE with its own id in
///   GIO_LAUNCHED_DESKTOP_FILE_PID; or
/// - it has a window that the window manager of the X server (of DISPLAY) manages, and that is neither a desktop nor a
///   dock. The server reports which process owns a window; what windows say about themselves counts only if the server
///   does not know.
///
/// Wayland shows windows only to their owner: without an X server, applications are known only if they were started as
/// such, and none is active.
///
/// @feature Which processes are applications: `PID`, `ProcessList`.
/// @needs A session that starts applications in units of systemd, or an X server with a window manager.
/// @without Under Wayland only what was started as an application is one, and none is active; without either, none is
///   known.
class RunningApplications {
 public:
  virtual ~RunningApplications() = default;

  /// Whether the process is an application.
  virtual Result<bool> contains(pid_t pid) = 0;

  /// The file or folder that represents the application, for Bundles::bundleAt(); an Error if the process is not an
  /// application or if no file represents it.
  ///
  /// On Linux the wrapper that contains its executable, otherwise its desktop entry: the first of these that exists:
  /// that of the unit it leads, of its environment, of its windows' class (StartupWMClass, or the entry's name), of the
  /// unit it is in, or the one that starts its executable without arguments.
  virtual Result<std::string> path(pid_t pid) = 0;

  /// Asks for all windows of the application to be brought to the front, and for it to get the keyboard. An Error if
  /// the process is not an application or there is no one to ask.
  ///
  /// On Linux the window manager is asked for each window, from the lowest to the highest; minimised windows are
  /// restored. An application without windows there is asked directly (org.freedesktop.Application.Activate) if its
  /// desktop entry allows it (DBusActivatable) and it is on the session bus.
  virtual Result<void> activate(pid_t pid) = 0;

  /// Whether the application has the window that the user is working with.
  virtual Result<bool> isActive(pid_t pid) = 0;
};

template <>
CORVANE_API std::shared_ptr<RunningApplications> makeService<RunningApplications>();

}  // namespace corvane
