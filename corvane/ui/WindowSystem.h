#pragma once

namespace corvane {

/// What shows the application's windows.
bool isX11();
bool isWayland();

/// Whether windows may be translucent at their corners. On X11 that takes a compositing manager, which may come and go.
bool isComposited();

/// Whether windows may be translucent as a whole. Wayland and screenless platforms refuse it.
bool takesOpacity();

}  // namespace corvane
