#pragma once

#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// The locations of the application's files: its programs and resources, and the user's folders for it.
///
/// Every function may be called from any thread. If a folder cannot be found or created, one line is logged (to
/// standard error for an application without a log).
class CORVANE_API Path {
 public:
  Path() = delete;

  /// Path of an executable of the main bundle, whether or not it exists: in a wrapper, the bundle's path,
  /// "/Contents/MacOS/" and the name; in the other layouts on Linux (see corvane/platform/Bundles.h), the folder of the
  /// running executable, "/" and the name.
  static std::string executablePath(const std::string& executable);

  /// Path of the main bundle's resource with exactly this name; std::nullopt if there is none.
  static std::optional<std::string> scriptPath(const std::string& script);

  /// Path of the main bundle's resource NAME.TYPE, or NAME if the type is empty; std::nullopt if there is none.
  static std::optional<std::string> resourcePath(const std::string& resource, const std::string& type);

  /// The property list at a path; std::nullopt if the file cannot be read, is not a property list, or holds something
  /// other than a dictionary. Nothing is logged; readPropertyListFile() reports the reason.
  static std::optional<Value::Dictionary> propertyList(const std::string& path);

  // These three create the folder and its missing parents. If that fails, they log the operation's prefix and the
  // system's description, and return std::nullopt.

  /// $HOME/Library/LaunchAgents: what starts when the user logs in; see LaunchAtLogin. Prefix "FindLaunchAgentPath: ".
  static std::optional<std::string> launchAgentPath();

  /// The main bundle's folder, named by its identifier, in the user's caches ($XDG_CACHE_HOME, otherwise ~/.cache): its
  /// files may be deleted at any time. Fatal without an identifier. Prefix "FindCachePath: ".
  static std::optional<std::string> cachePath();

  /// The folder in which all applications of the user keep their data ($XDG_DATA_HOME, otherwise ~/.local/share).
  /// Create a subfolder for the application there. Prefix "FindAppSupportPath: ".
  static std::optional<std::string> appSupportPath();
};

/// Copies a resource of the main bundle to `dstdir`/`name`.`type` (with the dot even if the type is empty). Returns 0
/// on success and -1 otherwise. A missing resource is fatal: pass only names of resources in the bundle. Any thread.
///
/// The copy never replaces anything. If a file exists at the destination and `overwrite` is false, nothing happens and
/// nothing is logged. Every other failure is logged as "CopyResourceFile: " and the system's description, including
/// when the file exists and `overwrite` is true.
///
/// The destination appears only when the copy is complete and on disk; if another process creates it in the meantime,
/// that file stays. A failure leaves nothing behind. The copy has the resource's permissions, times and holes, as far
/// as the destination's file system supports them. A symbolic link is followed; only regular files are copied.
CORVANE_API int CopyResourceFile(const std::string& name, const std::string& type, const std::string& dstdir,
                                 bool overwrite);

}  // namespace corvane
