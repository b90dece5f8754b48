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
/// On Linux the session reads an entry of its own, $XDG_CONFIG_HOME/autostart/LABEL.desktop. It starts the command
/// of the application's installed desktop entry (IDENTIFIER.desktop), else the running executable; a session passes
/// over it when that is gone. The user may switch the entry off in the desktop's settings, and the desktop respects
/// that; the agent, and what agentIsValid() says, stays: it is what the application asked for. writePlist() switches it
/// on again.
///
/// For one thread at a time. Nothing is reported to the caller. If the folder for agents cannot be made, that goes to
/// the log (see Path::launchAgentPath()) and all three operations do nothing.
class CORVANE_API LaunchAtLogin {
 public:
  /// Writes the agent and the session's entry, each all or nothing, replacing existing ones. Without the agent the
  /// entry is not written; why the entry could not be goes to the log. Fatal if the main bundle has no identifier.
  void writePlist();

  /// True if the agent is there and not empty; what it says, and the session's entry, are not looked at. Fatal if the
  /// main bundle has no identifier.
  bool agentIsValid() const;

  /// Removes the agent and the session's entry. It is not an error if they are missing, or if the main bundle has no
  /// identifier.
  void unlinkAgent();
};

}  // namespace corvane
