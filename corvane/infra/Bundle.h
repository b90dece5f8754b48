#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvane/infra/Image.h"
#include "corvane/platform/Bundles.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Value.h"
#include "corvane/platform/Workspace.h"

namespace corvane {

/// An application's identity and resources: its information dictionary (Info.plist) and the folder that comes with it.
///
/// The main bundle is that of the running program, found next to or inside its executable (see
/// corvane/platform/Bundles.h); the CMake functions corvane_application and corvane_embed_info_plist give a program
/// one. A damaged dictionary counts as missing and is reported on standard error. Instances are immutable: share them
/// between threads freely.
class CORVANE_API Bundle {
 public:
  /// The running program's bundle. It is read once (for each Platform that is put in force) and stays valid for as long
  /// as the caller holds it. Any thread.
  static std::shared_ptr<const Bundle> mainBundle();

  /// The library's own bundle, with the files that its parts need at run time (see corvane/platform/Bundles.h).
  static std::shared_ptr<const Bundle> libraryBundle();

  /// The bundle at a path (a wrapper folder, an executable, or, on Linux, a desktop entry); null if nothing is there.
  static std::shared_ptr<const Bundle> at(const std::string& path);

  /// A bundle of these files, which need not exist.
  explicit Bundle(BundleFiles files);

  /// The information dictionary; null if the bundle has no readable one.
  const Value* infoDictionary() const;
  /// An entry of it; null if it is missing.
  const Value* object(const std::string& key) const;
  /// An entry that is text; std::nullopt if it is missing or not text.
  std::optional<std::string> string(const std::string& key) const;

  /// "CFBundleIdentifier"; std::nullopt if it is missing or empty.
  std::optional<std::string> identifier() const;
  /// The identifier. Fatal if there is none, with a message that names `user` and says how to give a program an
  /// identifier.
  std::string requiredIdentifier(const std::string& user) const;
  /// "CFBundleName": the display name.
  std::optional<std::string> bundleName() const;
  /// Name, short version and version, as in "MyApp-2.1(345)"; std::nullopt if any of the three entries is missing or
  /// not text.
  std::optional<std::string> appVersionName() const;

  const std::string& path() const;  ///< the wrapper folder or the desktop entry, otherwise the executable's folder
  const std::string& executablePath() const;  ///< its executable
  const std::string& resourcesPath() const;   ///< its resources folder, whether or not it exists

  /// Path of a file in the resources folder; std::nullopt if it is not there.
  std::optional<std::string> resource(const std::string& name) const;

  // Other applications, by identifier, and files. These functions read the desktop's files; only launch() talks to
  // another process, for at most 5 s. Any thread.

  /// The icon of the file at a path; std::nullopt for an empty path or if the desktop has no picture for it.
  static std::optional<Image> icon(const std::string& path);
  /// The file that represents the application with an identifier (on Linux its desktop entry); std::nullopt if not
  /// found.
  static std::optional<std::string> path(const std::string& identifier);
  /// The same, as a file: URL.
  static std::optional<std::string> url(const std::string& identifier);
  /// The icon of that application.
  static std::optional<Image> bundleIcon(const std::string& identifier);
  /// Launches it; true on success. The reason for a failure is logged.
  static bool launch(const std::string& identifier, LaunchOptions options = LaunchOptions::DEFAULT);

 private:
  BundleFiles m_files;
  std::optional<Value> m_info;
};

}  // namespace corvane
