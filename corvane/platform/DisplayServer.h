#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// One of the monitors that the desktop consists of.
struct Monitor {
  std::string name;                  ///< as toolkits call it: its connector, "DP-1", or what the user named it
  std::vector<std::uint8_t> idData;  ///< what the display says about itself (see parseEdid); empty if it says nothing
};

/// A stretch of an edge of the whole desktop that a panel keeps free of other windows. In pixels from the desktop's
/// upper left corner.
struct ReservedEdge {
  /// Which edge.
  enum class Side : std::uint8_t { LEFT, RIGHT, TOP, BOTTOM };
  Side side = Side::TOP;  ///< of the desktop
  int limit = 0;          ///< where the free part begins (LEFT, TOP) or ends (RIGHT, BOTTOM): an x or a y
  int begin = 0;          ///< the stretch along the edge: a y (LEFT, RIGHT) or an x
  int end = 0;            ///< the first one behind it
};

/// What the server that shows the windows knows about monitors and panels, and toolkits do not tell. Main thread.
///
/// On Linux this is the X server named by DISPLAY; the calls wait for it, as a toolkit's do. Wayland tells programs
/// neither: there, and where no server answers, they fail.
///
/// @feature Panels, serial numbers of screens, translucent windows: `Screen`, `Popover`.
/// @needs An X server (`DISPLAY`).
/// @without Under Wayland the toolkit's figures are all there is.
class DisplayServer {
 public:
  virtual ~DisplayServer() = default;

  /// All monitors that show something, and all reserved edges; an Error if there is no X server.
  virtual Result<std::vector<Monitor>> monitors() = 0;
  virtual Result<std::vector<ReservedEdge>> reservedEdges() = 0;

  /// Whether a compositing manager draws the desktop, so that windows may be translucent.
  virtual Result<bool> isComposited() = 0;

  /// Calls `changed` on the main queue whenever the reserved edges may have changed, until the returned object is
  /// destroyed. Null if the server cannot be watched.
  virtual std::shared_ptr<void> watch(std::function<void()> changed) = 0;
};

template <>
CORVANE_API std::shared_ptr<DisplayServer> makeService<DisplayServer>();

}  // namespace corvane
