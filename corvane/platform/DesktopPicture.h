#pragma once

#include <errno.h>

#include <cstdint>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// The picture behind all windows of a screen.
struct ScreenPicture {
  std::string url;  ///< a file's URL; something else if the desktop has it from elsewhere; empty if there is none
  /// How the desktop shows it. Only the service that made these reads them; empty: so that it covers the screen.
  Value::Dictionary options = {};

  bool operator==(const ScreenPicture&) const = default;
};

/// The desktop's pictures. `screen` is a screen's name as toolkits call it: its connector, "DP-1". Any thread, one call
/// at a time; calls wait for the desktop, at most 5 s.
///
/// On Linux XDG_CURRENT_DESKTOP selects the way: the settings of GNOME, MATE and Cinnamon (which have one picture for
/// all screens), those of XFCE, the file manager of LXQt, Plasma's shell, the X server's root window where no desktop
/// covers it, or else the desktop portal, which asks the user and does not tell the present picture. Where there is
/// none of these, calls fail with the code ENOTSUP.
///
/// @feature `Desktop`.
/// @needs GNOME, MATE, Cinnamon, XFCE, LXQt, Plasma, a bare X server, or a portal with wallpapers.
/// @without Calls fail: not supported.
class DesktopPicture {
 public:
  virtual ~DesktopPicture() = default;

  /// What the screen shows now, such that setPicture() puts it back as it was, even in another process.
  virtual Result<ScreenPicture> picture(const std::string& screen) = 0;

  /// Shows a PNG file, or what picture() returned. Success means that the desktop has taken it over.
  virtual Result<void> setPicture(const std::string& screen, const ScreenPicture& picture) = 0;

  /// The flags of a file that protect it from being changed by anyone, even its owner. Not supported unless the
  /// platform has files of the desktop's own to be protected.
  virtual Result<std::uint32_t> fileFlags(const std::string& path) { return noFlags(path); }
  virtual Result<void> setFileFlags(const std::string& path, std::uint32_t /*flags*/) { return noFlags(path); }

 private:
  static tl::unexpected<Error> noFlags(const std::string& path) {
    return failure("posix", ENOTSUP, path + ": flags are not supported");
  }
};

template <>
CORVANE_API std::shared_ptr<DesktopPicture> makeService<DesktopPicture>();

}  // namespace corvane
