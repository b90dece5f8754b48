#pragma once

#include "corvane/platform/Export.h"

namespace corvane {

/// Makes the application start when the user logs in.
///
///     corvane::LaunchAtLogin login;
///     if (wanted) login.writePlist(); else login.unlinkAgent();
///
/// The launch agent is authoritative: a property list $HOME/Library/LaunchAgents/LABEL.plist, where LABEL is the main
/// bundle's identifier followed by ".launchAtLogin". Its entries are "Label", "RunAtLoad" (true) and
/// "ProgramArguments" ("open", "-b", the identifier).
///
/// On Linux the session reads a separate entry, $XDG_CONFIG_HOME/autostart/LABEL.desktop. It starts the command of the
/// application's installed desktop entry (IDENTIFIER.desktop), or else the running executable; if that no longer
/// exists, sessions ignore the entry. The user may switch the entry off in the desktop's settings. The agent and the
/// result of agentIsValid() then stay as they are, because they say what the application asked for. writePlist()
/// switches the entry on again.
///
/// For one thread at a time. Nothing is reported to the caller. If the folder for agents cannot be created, this is
/// logged (see Path::launchAgentPath()) and all three operations do nothing.
class CORVANE_API LaunchAtLogin {
 public:
  /// Writes the agent and the session's entry, each all or nothing, replacing existing ones. If the agent cannot be
  /// written, neither is the entry; a failure to write the entry is logged. Fatal if the main bundle has no identifier.
  void writePlist();

  /// True if the agent exists and is not empty; its content and the session's entry are not checked. Fatal if the main
  /// bundle has no identifier.
  bool agentIsValid() const;

  /// Removes the agent and the session's entry. It is not an error if they are missing, or if the main bundle has no
  /// identifier.
  void unlinkAgent();
};

}  // namespace corvane
