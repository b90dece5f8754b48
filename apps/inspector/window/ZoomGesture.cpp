#include "apps/inspector/window/ZoomGesture.h"

#include <QGestureEvent>
#include <QNativeGestureEvent>
#include <QPinchGesture>
#include <QWidget>

namespace corvane::inspector {

std::optional<ZoomGesture> ZoomGesture::of(const QEvent& event, const QWidget& viewport) {
  if (event.type() == QEvent::NativeGesture) {
    const auto& gesture = static_cast<const QNativeGestureEvent&>(event);
    if (gesture.gestureType() == Qt::ZoomNativeGesture) return ZoomGesture{1 + gesture.value(), gesture.position()};
  }
  if (event.type() == QEvent::Gesture) {
    const auto* const pinch =
        static_cast<const QPinchGesture*>(static_cast<const QGestureEvent&>(event).gesture(Qt::PinchGesture));
    if (pinch) return ZoomGesture{pinch->scaleFactor(), viewport.mapFromGlobal(pinch->centerPoint())};
  }
  return std::nullopt;
}

}  // namespace corvane::inspector
