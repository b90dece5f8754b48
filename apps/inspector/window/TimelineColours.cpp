#include "apps/inspector/window/TimelineColours.h"

#include <QPainter>

#include "apps/inspector/window/Colours.h"

namespace corvane::inspector {

QColor colourOf(ActivitySpan::Kind kind, const QPalette& palette) {
  switch (kind) {
    case ActivitySpan::Kind::REPEATER:
      return seriesColour(palette, 1);
    case ActivitySpan::Kind::MAIN_ITEM:
      return seriesColour(palette, 0);
    case ActivitySpan::Kind::MAIN_LOOP:
      break;
    case ActivitySpan::Kind::QUEUE_ITEM:
      return seriesColour(palette, 2);
    case ActivitySpan::Kind::TIMER:
      return seriesColour(palette, 3);
  }
  return faint(palette, 0.6);
}

void drawKind(QPainter& painter, ActivitySpan::Kind kind, const QRectF& square) {
  const QPointF middle = square.center();
  switch (kind) {
    case ActivitySpan::Kind::REPEATER:
      painter.drawConvexPolygon(
          QPolygonF({square.topLeft(), QPointF(square.right(), middle.y()), square.bottomLeft()}));
      break;
    case ActivitySpan::Kind::MAIN_ITEM:
      painter.drawRect(square.adjusted(1, 1, -1, -1));
      break;
    case ActivitySpan::Kind::MAIN_LOOP: {
      painter.save();
      painter.setPen(QPen(painter.brush(), square.width() / 5));
      painter.setBrush(Qt::NoBrush);
      painter.drawEllipse(square.adjusted(1, 1, -1, -1));
      painter.restore();
      break;
    }
    case ActivitySpan::Kind::QUEUE_ITEM:
      painter.drawConvexPolygon(QPolygonF({QPointF(middle.x(), square.top()), QPointF(square.right(), middle.y()),
                                           QPointF(middle.x(), square.bottom()), QPointF(square.left(), middle.y())}));
      break;
    case ActivitySpan::Kind::TIMER:
      painter.drawEllipse(square.adjusted(1, 1, -1, -1));
      break;
  }
}

TimelineColours::TimelineColours(const QPalette& palette) {
  const QColor base = palette.base().color();
  for (std::size_t kind = 0; kind < ActivitySpan::KINDS; ++kind)
    for (const bool isFaint : {false, true}) {
      const QColor colour = colourOf(static_cast<ActivitySpan::Kind>(kind), palette);
      const double strength = isFaint ? 0.5 : 1;
      Look& look = m_looks[kind][isFaint ? 1 : 0];
      look.fill = mixed(base, colour, 0.4 * strength);
      look.border = mixed(base, colour, strength);
      look.text = faint(palette, isFaint ? 0.6 : 1);
      for (std::size_t level = 0; level < LEVELS; ++level)
        look.pale[level] = mixed(base, colour, strength * (0.4 + 0.5 * static_cast<double>(level) / (LEVELS - 1)));
    }
}

}  // namespace corvane::inspector
