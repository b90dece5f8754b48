#pragma once

#include <QPointF>
#include <optional>

class QEvent;
class QWidget;

namespace corvane::inspector {

/// A change of a view's zoom that two fingers ask for.
struct ZoomGesture {
  double factor;
  QPointF at;  ///< in the viewport

  /// What an event of the viewport asks for, if it is such a gesture. The viewport must have grabbed
  /// Qt::PinchGesture.
  static std::optional<ZoomGesture> of(const QEvent& event, const QWidget& viewport);
};

}  // namespace corvane::inspector
