#pragma once

#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// Where the application's files are: its programs and resources, and the user's folders for it.
///
/// All of it may be called from any thread. A folder that cannot be found or made is reported by one line in the log
/// (on standard error for an application without one).
class CORVANE_API Path {
 public:
  Path() = delete;

  /// Path of an executable of the main bundle, whether or not there is one: in a wrapper the bundle's path,
  /// "/Contents/MacOS/" and the name; in the other layouts that Linux knows (see corvane/platform/Bundles.h) the folder
  /// of the running executable, "/" and the name.
  static std::string executablePath(const std::string& executable);

  /// Path of the main bundle's resource with exactly this name; none if there is none.
  static std::optional<std::string> scriptPath(const std::string& script);

  /// Path of the main bundle's resource NAME.TYPE, or NAME if the type is empty; none if there is none.
  static std::optional<std::string> resourcePath(const std::string& resource, const std::string& type);

  /// The property list at a path; none if the file cannot be read, is no property list, or holds something else than a
  /// dictionary. Nothing is logged; readPropertyListFile() tells why.
  static std::optional<Value::Dictionary> propertyList(const std::string& path);

  // These three make the folder, and those that lead to it, if it is missing. Failing that they log the operation's
  // prefix and the system's description, and give none.

  /// $HOME/Library/LaunchAgents: what starts when the user logs in, see LaunchAtLogin. Prefix "FindLaunchAgentPath: ".
  static std::optional<std::string> launchAgentPath();

  /// The main bundle's folder, named by its identifier, in the user's caches ($XDG_CACHE_HOME, else ~/.cache): files
  /// that may be deleted at any time. Fatal without an identifier. Prefix "FindCachePath: ".
  static std::optional<std::string> cachePath();

  /// The folder that all applications of the user keep their data in ($XDG_DATA_HOME, else ~/.local/share). Add a
  /// folder of the application's own. Prefix "FindAppSupportPath: ".
  static std::optional<std::string> appSupportPath();
};

/// Copies a resource of the main bundle to `dstdir`/`name`.`type` (the dot is there also if the type is empty). Returns
/// 0 on success and -1 otherwise. A missing resource is fatal: name only what the bundle holds. Any thread.
///
/// The copy never replaces anything. If a file exists at the destination and `overwrite` is false, nothing happens and
/// nothing is logged. In all other cases of failure "CopyResourceFile: " and the system's description go to the log:
/// when the file exists and `overwrite` is true, too.
///
/// The destination appears only when the copy is complete and on the disk, and if somebody else makes it meanwhile,
/// theirs stays. A failure leaves nothing behind. The copy has the resource's permissions, times and holes, as far
/// as the file system of the destination has these. A symbolic link is followed; what is not a regular file is not
/// copied.
CORVANE_API int CopyResourceFile(const std::string& name, const std::string& type, const std::string& dstdir,
                                 bool overwrite);

}  // namespace corvane
