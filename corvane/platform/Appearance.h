#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "corvane/platform/Export.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// How the user wants applications to look; UNKNOWN if the desktop does not say or does not mind.
enum class ColorScheme : std::uint8_t { UNKNOWN, LIGHT, DARK };

/// What a desktop says about the look of applications.
struct DesktopAppearance {
  ColorScheme scheme = ColorScheme::UNKNOWN;  ///< light or dark
  bool highContrast = false;                  ///< the user wants more contrast
  bool reducedMotion = false;                 ///< nothing should move that need not

  bool operator==(const DesktopAppearance&) const = default;
};

/// The desktop's light or dark appearance. On Linux it is what the desktop portal's settings say, which are found in
/// the background: neither a slow portal nor a missing one delays anything.
///
/// @feature Light and dark: `ThemeChanged`, `followAppearance`.
/// @needs A desktop portal with settings (`xdg-desktop-portal` and the desktop's backend).
/// @without The toolkit's palette decides.
class Appearance {
 public:
  virtual ~Appearance() = default;

  /// Calls `changed` with the appearance, first when it has become known and then after each change, until the returned
  /// object is destroyed; never, if the desktop says nothing. Call it, and destroy the object, on the main queue, where
  /// `changed` is called, too. Never waits, and does not call `changed` before it returns.
  virtual std::shared_ptr<void> watch(std::function<void(DesktopAppearance)> changed) = 0;
};

template <>
CORVANE_API std::shared_ptr<Appearance> makeService<Appearance>();

}  // namespace corvane
