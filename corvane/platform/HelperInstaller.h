#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvane/platform/Authorization.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// Installs privileged helpers. Any thread.
///
/// On Linux: through the library's root service on the system bus, which takes the helper as an open file, checks a
/// copy of it and asks polkit about its caller. Installed is /usr/local/libexec/corvane/helpers/LABEL; the copy in the
/// bundle is Contents/Library/LaunchServices/LABEL in its folder, otherwise LaunchServices/LABEL in its resources.
///
/// @feature Installing helpers: `BlessHelper`, `HelperIsInstalled`.
/// @needs The library's root service, installed by root under `/usr` (`corvane-helpers`), the system bus and polkit.
/// @without Installing fails, with a line in the log.
class HelperInstaller {
 public:
  virtual ~HelperInstaller() = default;

  /// The bytes of the information dictionary inside the installed helper with this label, and inside the copy in the
  /// application's bundle, a property list. std::nullopt if it contains none, an Error if there is no such file or it
  /// cannot be read. Files beside it never count.
  virtual Result<std::optional<std::string>> installedInfo(const std::string& label) = 0;
  virtual Result<std::optional<std::string>> bundledInfo(const std::string& label) = 0;

  /// The right that install() and remove() need.
  virtual std::string installRight() const = 0;

  /// Installs the copy in the bundle, or removes what is installed. Waits for as long as a person needs.
  virtual Result<void> install(const std::string& label, Authorization::Reference reference) = 0;
  virtual Result<void> remove(const std::string& label, Authorization::Reference reference) = 0;
};

template <>
CORVANE_API std::shared_ptr<HelperInstaller> makeService<HelperInstaller>();

}  // namespace corvane
