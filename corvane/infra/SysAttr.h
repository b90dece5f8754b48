#pragma once

#include <sys/types.h>

#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// The numbers of a file's status (stat(2)) as the texts that a file listing shows. Any thread.
///
///     struct stat status;
///     if (stat(path, &status) == 0)
///       line = SysAttr::modePermissions(status.st_mode) + " " + SysAttr::username(status.st_uid);
struct CORVANE_API SysAttr {
  /// The user's login name; the id in decimal if the user database has none or cannot be asked. The database may be a
  /// directory service on the network, so this can wait for one. Fatal if the system tells no size for its entries
  /// (those of Debian and its relatives do).
  static std::string username(uid_t id);

  /// The group's name, likewise. A group with any number of members is found.
  static std::string groupname(gid_t id);

  /// True if the mode is a directory's.
  static bool isdir(mode_t mode);

  /// What kind of file the mode is of, in the user's language (see corvane/platform/Localization.h): "Named pipe",
  /// "Character special", "Directory", "Block special", "Regular file", "Symbolic link", "Socket" or "Whiteout" (which
  /// union file systems use for a deleted name); empty for anything else.
  static std::string modeKind(mode_t mode);

  /// Ten characters: "d" for a directory and "-" for all else, then read, write and execute of owner, group and others:
  /// "drwxr-xr-x". Set-user-id, set-group-id and sticky bits are not shown.
  static std::string modePermissions(mode_t mode);
};

}  // namespace corvane
