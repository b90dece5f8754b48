#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// How to launch an application. On Linux WITHOUT_ACTIVATION omits the start-up notification; the other options have no
/// counterpart that all desktops support: they are accepted and have no effect.
enum class LaunchOptions : std::uint32_t {
  DEFAULT = 0,
  WITHOUT_ACTIVATION = 1U << 0,  ///< do not bring the application to the front
  NEW_INSTANCE = 1U << 1,        ///< start another process even if one is running
};

/// Services of the desktop for applications. Any thread. Calls that talk to another process end within 5 s.
///
/// @feature Opening files and addresses, launching, icons of files: `Bundle`, `IconCache`, `URLButton`.
/// @needs Desktop entries and MIME data (`shared-mime-info`), an icon theme (`adwaita-icon-theme`); for showing a file
///   in its folder a file manager on the session bus, otherwise the folder is opened.
/// @without Calls fail and say what is missing; there are no icons.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Path of a picture file (PNG or SVG) with the icon of the file at `path`; `size` is the wanted width in pixels.
  virtual Result<std::string> iconFile(const std::string& path, int size) = 0;

  /// The file that represents the application with this identifier; on Linux its desktop entry.
  virtual Result<std::string> applicationPath(const std::string& identifier) = 0;

  /// Launches the application with this identifier; success means that its start was confirmed.
  virtual Result<void> launch(const std::string& identifier, LaunchOptions options) = 0;

  /// Opens a file, folder or URL in the user's default application for it.
  virtual Result<void> open(const std::string& pathOrURL) = 0;

  /// Shows a file or folder, selected, in the file browser.
  virtual Result<void> reveal(const std::string& path) = 0;
};

template <>
CORVANE_API std::shared_ptr<Workspace> makeService<Workspace>();

}  // namespace corvane
