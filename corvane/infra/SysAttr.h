#pragma once

#include <sys/types.h>

#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// Converts the numbers of a file's status (stat(2)) to the texts of a file listing. Any thread.
///
///     struct stat status;
///     if (stat(path, &status) == 0)
///       line = SysAttr::modePermissions(status.st_mode) + " " + SysAttr::username(status.st_uid);
struct CORVANE_API SysAttr {
  /// The user's login name; the id in decimal if the user database has no entry for it or cannot be read. The database
  /// may be a directory service on the network, so this can wait for it. Fatal if the system does not report a buffer
  /// size for entries (Debian and its derivatives do).
  static std::string username(uid_t id);

  /// The group's name, likewise. A group with any number of members is found.
  static std::string groupname(gid_t id);

  /// True if the mode is a directory's.
  static bool isdir(mode_t mode);

  /// The kind of file that the mode describes, in the user's language (see corvane/platform/Localization.h): "Named
  /// pipe", "Character special", "Directory", "Block special", "Regular file", "Symbolic link", "Socket" or "Whiteout"
  /// (which union file systems use for a deleted name); empty for anything else.
  static std::string modeKind(mode_t mode);

  /// Ten characters: "d" for a directory and "-" for anything else, then the read, write and execute permissions of
  /// owner, group and others: "drwxr-xr-x". Set-user-id, set-group-id and sticky bits are not shown.
  static std::string modePermissions(mode_t mode);
};

}  // namespace corvane
