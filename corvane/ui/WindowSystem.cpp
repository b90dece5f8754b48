#include "corvane/ui/WindowSystem.h"

#include <QGuiApplication>

#include "corvane/platform/Platform.h"

namespace corvane {

bool isX11() {
  return QGuiApplication::platformName() == QLatin1String("xcb");
}

bool isWayland() {
  return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

bool isComposited() {
  return !isX11() || platform().displayServer().isComposited().value_or(false);
}

bool takesOpacity() {
  return isX11() && isComposited();
}

}  // namespace corvane
