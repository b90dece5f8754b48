#include "apps/inspector/window/TimelineLegend.h"

#include <QPainter>
#include <QStringList>
#include <array>
#include <cmath>

#include "apps/inspector/window/SpanText.h"
#include "apps/inspector/window/TimelineColours.h"

namespace corvane::inspector {

namespace {

using enum ActivitySpan::Kind;
constexpr std::array KINDS = {MAIN_LOOP, MAIN_ITEM, REPEATER, QUEUE_ITEM, TIMER};  // from the outside
constexpr int GAP = 6, DISTANCE = 14;

}  // namespace

TimelineLegend::TimelineLegend(QWidget* parent) : QWidget(parent) {
  QStringList names;
  for (const ActivitySpan::Kind kind : KINDS) names << titleOf(kind);
  setAccessibleName(tr("Kinds of spans"));
  setAccessibleDescription(names.join(QStringLiteral(", ")));
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize TimelineLegend::sizeHint() const {
  int width = -DISTANCE;
  for (const ActivitySpan::Kind kind : KINDS)
    width += DISTANCE + fontMetrics().height() + GAP + fontMetrics().horizontalAdvance(titleOf(kind));
  return {width, fontMetrics().height() + 2};
}

QSize TimelineLegend::minimumSizeHint() const {
  return {0, sizeHint().height()};
}

void TimelineLegend::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const double square = std::round(fontMetrics().height() * 0.6), top = (height() - square) / 2;
  double x = 0;
  for (const ActivitySpan::Kind kind : KINDS) {
    const QString text = titleOf(kind);
    const double wide = fontMetrics().horizontalAdvance(text) + 1, after = x + square + GAP + wide;
    if (after > width()) break;
    const bool isMirrored = layoutDirection() == Qt::RightToLeft;
    painter.setPen(Qt::NoPen);
    painter.setBrush(colourOf(kind, palette()));
    drawKind(painter, kind, QRectF(isMirrored ? width() - x - square : x, top, square, square));
    painter.setPen(palette().windowText().color());
    painter.drawText(QRectF(isMirrored ? width() - after : after - wide, 0, wide, height()),
                     Qt::AlignVCenter | Qt::TextSingleLine, text);
    x = after + DISTANCE;
  }
}

}  // namespace corvane::inspector
