#include "apps/inspector/window/LineGraph.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <algorithm>
#include <cmath>

#include "apps/inspector/window/Colours.h"

namespace corvane::inspector {

namespace {

constexpr double ROUNDNESS = 10, MARGIN = 14, GAP = 8, SWATCH = 10;
constexpr double STROKE = 1.6;

QColor faded(QColor colour, float alpha) {
  colour.setAlphaF(alpha);
  return colour;
}

// The reading that is nearest to a time; null if there is none.
const Reading* readingAt(const History& history, Moment time) {
  const auto& readings = history.readings();
  auto reading = std::ranges::lower_bound(readings, time, {}, &Reading::time);
  if (reading == readings.end() ||
      (reading != readings.begin() && time - std::prev(reading)->time < reading->time - time)) {
    if (reading == readings.begin()) return nullptr;
    --reading;
  }
  return &*reading;
}

QString textOf(const Reading* reading, Unit unit) {
  return !reading || std::isnan(reading->value) ? QStringLiteral("–") : valueText(reading->value, unit);
}

// What lies below a line, and between the lowest and the highest values: column by column, which is many times faster
// than a polygon.
void fillBelow(QPainter& painter, const QPolygonF& line, double bottom, const QColor& colour) {
  qsizetype next = 1;
  for (double x = std::floor(line.front().x()); x < line.back().x(); ++x) {
    while (next + 1 < line.size() && line[next].x() < x + 0.5) ++next;
    const QPointF &from = line[next - 1], &to = line[next];
    const double part = std::clamp((x + 0.5 - from.x()) / std::max(1e-9, to.x() - from.x()), 0.0, 1.0);
    const double y = from.y() + (to.y() - from.y()) * part;
    painter.fillRect(QRectF(x, y, 1, bottom - y), colour);
  }
}

void fillBetween(QPainter& painter, const QPolygonF& low, const QPolygonF& high, const QColor& colour) {
  for (qsizetype i = 0; i < low.size(); ++i)
    if (low[i].y() > high[i].y())
      painter.fillRect(QRectF(std::floor(low[i].x()), high[i].y(), 1, low[i].y() - high[i].y()), colour);
}

// As separate lines, which is several times faster than a polyline of this width.
void drawStroke(QPainter& painter, const QPolygonF& stroke, const QColor& colour) {
  painter.setPen(QPen(colour, STROKE, Qt::SolidLine, Qt::SquareCap));
  if (stroke.size() == 1) return painter.drawPoint(stroke.front());
  std::vector<QLineF> lines;
  lines.reserve(static_cast<std::size_t>(stroke.size()));
  for (qsizetype i = 1; i < stroke.size(); ++i) lines.emplace_back(stroke[i - 1], stroke[i]);
  painter.drawLines(lines.data(), static_cast<int>(lines.size()));
}

}  // namespace

// What a picture shows, and where.
struct LineGraph::Drawing {
  QRectF plot;
  TimeWindow window;
  std::vector<std::vector<GraphStroke>> strokes;  // of each line, with the values for y
  std::optional<ValueAxis> axis;

  double yOf(double value) const {
    const Range& range = axis->range;
    return plot.bottom() - (value - range.low) / (range.high - range.low) * plot.height();
  }

  Range shown() const {
    std::optional<Range> result;
    for (const auto& line : strokes)
      for (const GraphStroke& stroke : line)
        for (qsizetype i = 0; i < stroke.line.size(); ++i) {
          const double low = stroke.low[i].y(), high = stroke.high[i].y();
          result = Range{std::min(result ? result->low : low, low), std::max(result ? result->high : high, high)};
        }
    return result.value_or(Range());
  }

  QPolygonF placed(QPolygonF points) const {
    for (QPointF& point : points) point = {plot.left() + point.x(), yOf(point.y())};
    return points;
  }
};

LineGraph::LineGraph(const QString& title, Unit unit, std::vector<Line> lines, QWidget* parent)
    : QWidget(parent), m_title(title), m_unit(unit), m_lines(std::move(lines)) {
  setAccessibleName(title);
  setMouseTracking(true);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void LineGraph::setRange(std::function<Range(Range shown)> range, bool isExact) {
  m_range = std::move(range);
  m_isExact = isExact;
  update();
}

void LineGraph::setNote(const QString& note) {
  if (note == m_note) return;
  m_note = note;
  update();
}

void LineGraph::setSpan(int seconds) {
  m_span = seconds;
  update();
}

bool LineGraph::hasValue() const {
  return std::ranges::any_of(m_lines, [](const Line& line) {
    return std::ranges::any_of(line.history->readings(),
                               [](const Reading& reading) { return !std::isnan(reading.value); });
  });
}

void LineGraph::refresh() {
  m_now = Moment::clock::now();
  QStringList values;
  for (const Line& line : m_lines) values << (line.name + u' ' + latest(line)).trimmed();
  setAccessibleDescription(values.join(QStringLiteral(", ")));
  update();
}

QString LineGraph::latest(const Line& line) const {
  return textOf(readingAt(*line.history, m_now), m_unit);
}

QSize LineGraph::sizeHint() const {
  const QFontMetrics metrics = fontMetrics();
  return {metrics.averageCharWidth() * 50, metrics.height() * 11};
}

QSize LineGraph::minimumSizeHint() const {
  const QFontMetrics metrics = fontMetrics();
  return {metrics.averageCharWidth() * 36, metrics.height() * 8};
}

QFont LineGraph::smallFont() const {
  QFont font = this->font();
  if (font.pointSizeF() > 0) font.setPointSizeF(font.pointSizeF() * 0.88);
  return font;
}

QRectF LineGraph::plotArea() const {
  const QFontMetricsF small(smallFont());
  const double labels =
      small.horizontalAdvance(QStringLiteral("999 MB/s")) + GAP;  // the same for all, so that they align
  const double top = MARGIN + fontMetrics().height() + GAP + small.height() / 2;
  const double bottom = MARGIN + small.height();
  return QRectF(rect()).adjusted(MARGIN + labels, top, -MARGIN, -bottom);
}

// Moves by whole pixels, so that the reduced lines do not flicker.
TimeWindow LineGraph::window() const {
  const double width = std::max(1.0, std::floor(plotArea().width()));
  const double step = m_span / width;
  const double end = std::ceil(std::chrono::duration<double>(m_now.time_since_epoch()).count() / step) * step;
  return {Moment(std::chrono::duration_cast<Moment::duration>(std::chrono::duration<double>(end))), m_span, width};
}

void LineGraph::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setLayoutDirection(Qt::LayoutDirectionAuto);  // that of each text: "1 MiB" stays so among texts of the other
  if (palette().base().color().alpha() > 0) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().base());
    painter.drawRoundedRect(rect(), ROUNDNESS, ROUNDNESS);
    painter.setBrush(Qt::NoBrush);
  }
  drawTitle(painter);
  Drawing drawing{plotArea(), window(), {}, {}};
  if (drawing.plot.height() < fontMetrics().height()) return;
  for (const Line& line : m_lines) drawing.strokes.push_back(graphStrokes(line.history->readings(), drawing.window));
  const int most = std::clamp(static_cast<int>(drawing.plot.height() / (fontMetrics().height() * 1.8)) + 1, 2, 6);
  drawing.axis.emplace(m_range(drawing.shown()), m_isExact, most, m_unit);
  drawAxes(painter, drawing);
  drawLines(painter, drawing);
  if (m_mouse) drawHover(painter, drawing);
}

void LineGraph::drawText(QPainter& painter, const QRectF& area, Qt::Alignment alignment, const QString& text) const {
  const QRectF place = isMirrored() ? QRectF(width() - area.right(), area.top(), area.width(), area.height()) : area;
  painter.drawText(place, static_cast<int>(QStyle::visualAlignment(layoutDirection(), alignment)) | Qt::TextSingleLine,
                   text);
}

// The title, and at the other end the latest values, with the names of the lines if there is room.
void LineGraph::drawTitle(QPainter& painter) const {
  QFont bold = font();
  bold.setWeight(QFont::DemiBold);
  const QFontMetricsF strong(bold), plain(font());
  const double height = fontMetrics().height();
  double all = 2 * MARGIN + strong.horizontalAdvance(m_title);
  for (const Line& line : m_lines)
    all += strong.horizontalAdvance(latest(line)) + plain.horizontalAdvance(line.name) + SWATCH + 3 * GAP;
  double end = width() - MARGIN;
  const auto put = [&](const QFont& font, const QColor& colour, const QString& text) {
    painter.setFont(font);
    painter.setPen(colour);
    const double wide = std::ceil(QFontMetricsF(font).horizontalAdvance(text)) + 1;
    drawText(painter, {end - wide, MARGIN, wide, height}, Qt::AlignTrailing | Qt::AlignVCenter, text);
    end -= wide + GAP / 2;
  };
  for (std::size_t i = m_lines.size(); i-- > 0;) {
    put(bold, palette().text().color(), latest(m_lines[i]));
    if (m_lines.size() == 1) break;
    if (all <= width()) put(font(), faint(palette(), 0.65), m_lines[i].name);
    end -= SWATCH;
    painter.setPen(Qt::NoPen);
    painter.setBrush(seriesColour(palette(), i));
    const double left = isMirrored() ? width() - end - SWATCH : end;
    painter.drawEllipse(QRectF(left, MARGIN + (height - SWATCH) / 2, SWATCH, SWATCH).adjusted(1, 1, -1, -1));
    painter.setBrush(Qt::NoBrush);
    end -= GAP;
  }
  const double room = std::max(0.0, end - GAP - MARGIN);
  const auto begin = [&](const QFont& font, double from, const QColor& colour, const QString& text) {
    painter.setFont(font);
    painter.setPen(colour);
    const QString shown = QFontMetricsF(font).elidedText(text, Qt::ElideRight, room - from);
    drawText(painter, {MARGIN + from, MARGIN, room - from, height}, Qt::AlignLeading | Qt::AlignVCenter, shown);
  };
  begin(bold, 0, palette().text().color(), m_title);
  const double after = strong.horizontalAdvance(m_title) + GAP;
  if (room - after > plain.averageCharWidth() * 4) begin(font(), after, faint(palette(), 0.65), m_note);
}

void LineGraph::drawAxes(QPainter& painter, const Drawing& drawing) const {
  const QFont font = smallFont();
  const QFontMetricsF metrics(font);
  const QRectF& plot = drawing.plot;
  painter.setFont(font);
  const auto line = [&](double x1, double y1, double x2, double y2, double share) {
    painter.setPen(QPen(faint(palette(), share), 1));
    if (isMirrored()) x1 = width() - x1, x2 = width() - x2;
    painter.drawLine(QPointF(std::floor(x1) + 0.5, std::floor(y1) + 0.5),
                     QPointF(std::floor(x2) + 0.5, std::floor(y2) + 0.5));
  };
  for (const Tick& tick : drawing.axis->ticks) {
    const double y = drawing.yOf(tick.place);
    line(plot.left(), y, plot.right(), y, 0.12);
    painter.setPen(faint(palette(), 0.65));
    drawText(painter, {MARGIN, y - metrics.height() / 2, plot.left() - GAP - MARGIN, metrics.height()},
             Qt::AlignTrailing | Qt::AlignVCenter, tick.text);
  }
  const double label = metrics.horizontalAdvance(timeText(QTime(23, 59, 59))) + 2 * GAP;
  const double late = std::chrono::duration<double>(drawing.window.end - m_now).count();
  for (const Tick& tick : timeTicks(QDateTime::currentDateTime(), m_span, static_cast<int>(plot.width() / label))) {
    const double x = plot.left() + drawing.window.width * (1 - (tick.place + late) / m_span);
    if (x < plot.left()) break;
    line(x, plot.top(), x, plot.bottom(), 0.07);
    const QRectF area(x - label / 2, plot.bottom() + 3, label, metrics.height());
    painter.setPen(faint(palette(), 0.65));
    if (area.right() <= width() && area.left() >= plot.left() - GAP)
      drawText(painter, area, Qt::AlignCenter, tick.text);
  }
}

void LineGraph::drawLines(QPainter& painter, const Drawing& drawing) const {
  painter.save();
  painter.setTransform(isMirrored() ? QTransform(-1, 0, 0, 1, width(), 0) : QTransform(), true);
  painter.setClipRect(drawing.plot.adjusted(0, -STROKE, 0, STROKE));
  for (std::size_t i = m_lines.size(); i-- > 0;) {
    const QColor colour = seriesColour(palette(), i);
    for (const GraphStroke& stroke : drawing.strokes[i]) {
      const QPolygonF line = drawing.placed(stroke.line);
      painter.setRenderHint(QPainter::Antialiasing, false);
      fillBetween(painter, drawing.placed(stroke.low), drawing.placed(stroke.high), faded(colour, 0.3F));
      if (m_lines.size() == 1) fillBelow(painter, line, drawing.plot.bottom(), faded(colour, 0.13F));
      painter.setRenderHint(QPainter::Antialiasing);
      drawStroke(painter, line, colour);
    }
  }
  painter.restore();
}

// A line at the mouse, dots on the lines, and what they stand for beside it.
void LineGraph::drawHover(QPainter& painter, const Drawing& drawing) const {
  const QRectF& plot = drawing.plot;
  const double mouse = isMirrored() ? width() - m_mouse->x() : m_mouse->x();
  if (mouse < plot.left() || mouse > plot.right()) return;
  const Moment time = drawing.window.timeAt(mouse - plot.left());
  const double seconds = std::chrono::duration<double>(m_now - time).count();
  QStringList texts = {timeText(QDateTime::currentDateTime().addMSecs(-static_cast<qint64>(seconds * 1000)).time())};
  painter.setPen(QPen(faint(palette(), 0.5), 1));
  const double x = std::floor(m_mouse->x()) + 0.5;
  painter.drawLine(QPointF(x, plot.top()), QPointF(x, plot.bottom()));
  for (std::size_t i = 0; i < m_lines.size(); ++i) {
    const Reading* const reading = readingAt(*m_lines[i].history, time);
    texts << (m_lines[i].name + u' ' + textOf(reading, m_unit)).trimmed();
    if (!reading || std::isnan(reading->value)) continue;
    const double place = plot.left() + drawing.window.xOf(reading->time);
    if (place < plot.left()) continue;
    painter.setPen(QPen(palette().base().color(), 1.5));
    painter.setBrush(seriesColour(palette(), i));
    painter.drawEllipse(QPointF(isMirrored() ? width() - place : place, drawing.yOf(reading->value)), 4, 4);
  }
  const QFontMetricsF metrics(font());
  double wide = 0;
  for (const QString& text : texts) wide = std::max(wide, metrics.horizontalAdvance(text));
  QRectF bubble(x + GAP, plot.top(), wide + 2 * GAP, metrics.height() * static_cast<double>(texts.size()) + GAP);
  if (bubble.right() > width() - 2) bubble.moveRight(x - GAP);
  painter.setPen(QPen(faint(palette(), 0.25), 1));
  painter.setBrush(palette().toolTipBase());
  painter.drawRoundedRect(bubble, 5, 5);
  painter.setFont(font());
  painter.setPen(palette().toolTipText().color());
  painter.drawText(bubble.adjusted(GAP, GAP / 2, -GAP, -GAP / 2),
                   static_cast<int>(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeading)) | Qt::AlignTop,
                   texts.join(u'\n'));
}

void LineGraph::mouseMoveEvent(QMouseEvent* event) {
  m_mouse = event->position();
  update();
}

void LineGraph::leaveEvent(QEvent*) {
  m_mouse.reset();
  update();
}

void LineGraph::changeEvent(QEvent* event) {
  if (event->type() == QEvent::FontChange) updateGeometry();
  QWidget::changeEvent(event);
}

}  // namespace corvane::inspector
