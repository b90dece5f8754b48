#include "apps/inspector/window/TimelineView.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QToolTip>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "apps/inspector/text/RoundStep.h"
#include "apps/inspector/window/Colours.h"
#include "apps/inspector/window/Shown.h"
#include "apps/inspector/window/SpanText.h"
#include "apps/inspector/window/TimelineColours.h"
#include "apps/inspector/window/ZoomGesture.h"
#include "corvane/ui/CellDelegate.h"

namespace corvane::inspector {

namespace {

constexpr double ZOOM = 1.25;            // of a step
constexpr double BORDER = 0.01;          // of the recording, before and after it
constexpr int SCALE = 1 << 30;           // of the horizontal bar
constexpr double GAP = 8;                // between lanes, and beside texts
constexpr double PADDING = 3;            // above and below a bar's text
constexpr double SLACK = 3;              // columns beside a bar where it can be hit
constexpr qsizetype LONGEST_LINE = 100;  // characters of a line of a tip

// A bar whose end is torn off.
QPainterPath tornOff(const QRectF& area) {
  const double tooth = area.height() / 4;
  QPainterPath path(area.topLeft());
  path.lineTo(area.topRight());
  for (int i = 1; i <= 4; ++i) path.lineTo(area.right() - (i % 2) * tooth, area.top() + i * tooth);
  path.lineTo(area.bottomLeft());
  path.closeSubpath();
  return path;
}

}  // namespace

TimelineView::TimelineView(QWidget* parent) : QAbstractScrollArea(parent), m_lanes(std::make_shared<TimelineLanes>()) {
  setAccessibleName(tr("Timeline"));
  setLayoutDirection(Qt::LeftToRight);
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::StrongFocus);
  viewport()->setBackgroundRole(QPalette::Base);
  viewport()->setMouseTracking(true);
  viewport()->grabGesture(Qt::PinchGesture);
}

void TimelineView::setLanes(std::shared_ptr<const TimelineLanes> lanes) {
  m_lanes = std::move(lanes);
  m_marked.assign(m_lanes->names().size(), false);
  m_isAnyMarked = false;
  m_labels.assign(m_lanes->names().size(), std::nullopt);
  m_selected.reset();
  setHorizontalScrollBarPolicy(isEmpty() ? Qt::ScrollBarAlwaysOff : Qt::ScrollBarAlwaysOn);
  layOut();
  showAll();
  Q_EMIT selectionChanged();
}

void TimelineView::setPlaceholderText(const QString& text) {
  m_placeholder = text;
  viewport()->update();
}

void TimelineView::setMarked(std::vector<bool> names) {
  names.resize(m_lanes->names().size());
  m_marked = std::move(names);
  m_isAnyMarked = std::ranges::find(m_marked, true) != m_marked.end();
  viewport()->update();
}

void TimelineView::select(const std::optional<Place>& place) {
  if (place) reveal(*place);
  if (place == m_selected) return;
  m_selected = place;
  setAccessibleDescription(place ? tipOf(*m_lanes, m_lanes->at(*place)).replace(u'\n', QStringLiteral(", "))
                                 : QString());
  viewport()->update();
  Q_EMIT selectionChanged();
}

// Places.

double TimelineView::rowHeight() const {
  return fontMetrics().height() + 2 * PADDING;
}

double TimelineView::axisHeight() const {
  return fontMetrics().height() + GAP;
}

double TimelineView::rowTop(std::size_t lane, std::size_t row) const {
  return axisHeight() + m_tops[lane] + static_cast<double>(row) * rowHeight() - verticalScrollBar()->value();
}

double TimelineView::total() const {
  return std::max(static_cast<double>(m_lanes->end() - m_lanes->begin()) * (1 + 2 * BORDER), LEAST_LENGTH);
}

void TimelineView::layOut() {
  m_tops.clear();
  double top = GAP;
  for (const TimelineLanes::Lane& lane : m_lanes->lanes()) {
    m_tops.push_back(top);
    top += static_cast<double>(lane.rows.size()) * rowHeight() + 2 * GAP;
  }
  m_tops.push_back(top);
  m_titles = fontMetrics().averageCharWidth() * 24;
  updateBars();
}

void TimelineView::updateBars() {
  m_window.width = std::max(1.0, viewport()->width() - m_titles);
  verticalScrollBar()->setRange(
      0, std::max(0, static_cast<int>(std::ceil(axisHeight() + m_tops.back())) - viewport()->height()));
  verticalScrollBar()->setPageStep(viewport()->height());
  verticalScrollBar()->setSingleStep(static_cast<int>(rowHeight()));
  moveTo(static_cast<double>(m_window.from - m_lanes->begin()));
}

// `from` counts from the beginning of the recording.
void TimelineView::moveTo(double from) {
  m_window.length = std::min(m_window.length, total());
  const double before = BORDER / (1 + 2 * BORDER) * total();
  from = std::clamp(from, -before, std::max(-before, total() - before - m_window.length));
  const std::int64_t moment = m_lanes->begin() + std::llround(from);
  m_window.from = moment;
  const double share = m_window.length / total();
  QScrollBar* const bar = horizontalScrollBar();
  bar->setRange(0, static_cast<int>(SCALE * (1 - share)));
  bar->setPageStep(static_cast<int>(SCALE * share));
  bar->setSingleStep(std::max(1, bar->pageStep() / 10));
  bar->setValue(static_cast<int>((from + before) / total() * SCALE));
  m_window.from = moment;  // more exactly than the bar
  viewport()->update();
}

void TimelineView::scrollContentsBy(int dx, int) {
  const double before = BORDER / (1 + 2 * BORDER) * total();
  if (dx != 0)
    m_window.from = m_lanes->begin() + std::llround(horizontalScrollBar()->value() * total() / SCALE - before);
  viewport()->update();
}

void TimelineView::setLength(double nsec, double x) {
  const double kept = static_cast<double>(m_window.from - m_lanes->begin()) + x / m_window.width * m_window.length;
  m_window.length = std::clamp(nsec, LEAST_LENGTH, total());
  moveTo(kept - x / m_window.width * m_window.length);
}

void TimelineView::zoomBy(double factor) {
  double x = m_window.width / 2;
  if (m_selected) {
    const TimelineLanes::Span& span = m_lanes->at(*m_selected);
    const double middle = (m_window.xOf(span.start) + m_window.xOf(span.end)) / 2;
    if (middle >= 0 && middle <= m_window.width) x = middle;
  }
  setLength(m_window.length / factor, x);
}

void TimelineView::showAll() {
  setLength(total(), 0);
}

void TimelineView::zoomToSelected() {
  if (!m_selected) return;
  const TimelineLanes::Span& span = m_lanes->at(*m_selected);
  const auto duration = static_cast<double>(span.duration());
  setLength(duration * 1.25, 0);
  moveTo(static_cast<double>(span.start - m_lanes->begin()) - (m_window.length - duration) / 2);
}

void TimelineView::reveal(const Place& place) {
  const QRectF area = areaOf(place);
  const double left = area.left() - m_titles, right = area.right() - m_titles;
  const bool isWide = area.width() >= m_window.width;
  if (right < SLACK || left > m_window.width - SLACK || (!isWide && (left < 0 || right > m_window.width))) {
    const TimelineLanes::Span& span = m_lanes->at(place);
    const double middle = static_cast<double>(span.start - m_lanes->begin()) + static_cast<double>(span.duration()) / 2;
    moveTo(isWide ? static_cast<double>(span.start - m_lanes->begin()) - m_window.length / 10
                  : middle - m_window.length / 2);
  }
  QScrollBar* const bar = verticalScrollBar();
  if (area.top() < axisHeight() + GAP)
    bar->setValue(bar->value() - static_cast<int>(std::ceil(axisHeight() + GAP - area.top())));
  else if (area.bottom() > viewport()->height() - GAP)
    bar->setValue(bar->value() + static_cast<int>(std::ceil(area.bottom() - viewport()->height() + GAP)));
}

QRectF TimelineView::areaOf(const Place& place) const {
  const TimelineLanes::Span& span = m_lanes->at(place);
  const double left = m_window.xOf(span.start), right = std::max(m_window.xOf(span.end), left + 1);
  return {m_titles + left, rowTop(place.lane, place.row), right - left, rowHeight() - 1};
}

std::optional<TimelineView::Place> TimelineView::placeAt(const QPointF& at) const {
  if (at.x() < m_titles || at.y() < axisHeight()) return std::nullopt;
  const auto& lanes = m_lanes->lanes();
  for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
    const double row = std::floor((at.y() - rowTop(lane, 0)) / rowHeight());
    if (row < 0 || row >= static_cast<double>(lanes[lane].rows.size())) continue;
    const auto number = static_cast<std::size_t>(row);
    const auto index = TimelineLanes::hit(lanes[lane].rows[number], m_window, at.x() - m_titles, SLACK, m_marked);
    return index ? std::optional(Place{lane, number, *index}) : std::nullopt;
  }
  return std::nullopt;
}

// The pictures.

void TimelineView::paintEvent(QPaintEvent*) {
  QPainter painter(viewport());
  if (isEmpty()) {
    painter.end();
    return drawPlaceholder(*viewport(), m_placeholder);
  }
  painter.setLayoutDirection(Qt::LeftToRight);
  drawAxis(painter);
  const QRectF below = QRectF(viewport()->rect()).adjusted(0, axisHeight(), 0, 0);
  painter.setClipRect(below);
  for (std::size_t lane = 0; lane < m_lanes->lanes().size(); ++lane) {
    const double top = rowTop(lane, 0);
    if (rowTop(lane + 1, 0) < below.top() || top > below.bottom()) continue;
    drawTitle(painter, lane, top);
  }
  painter.setClipRect(below.adjusted(m_titles, 0, 0, 0));
  drawLanes(painter, TimelineColours(palette()));
  drawSelected(painter);
}

void TimelineView::drawAxis(QPainter& painter) const {
  const QFontMetricsF metrics(font());
  const auto stepFor = [&](double wide) { return roundStep(m_window.length / std::max(1.0, m_window.width / wide)); };
  const QString longest = offsetText(m_lanes->end() - m_lanes->begin(), stepFor(80));
  const double step = stepFor(metrics.horizontalAdvance(longest) + 3 * GAP);
  const double from = static_cast<double>(m_window.from - m_lanes->begin());
  const double bottom = axisHeight();
  for (double number = std::ceil(from / step); number * step <= from + m_window.length; ++number) {
    const double x = m_titles + std::floor((number * step - from) / m_window.length * m_window.width);
    painter.fillRect(QRectF(x, bottom - PADDING, 1, viewport()->height()), faint(palette(), 0.1));
    painter.setPen(faint(palette(), 0.7));
    const QString text = offsetText(std::llround(number * step), step);
    const double wide = metrics.horizontalAdvance(text);
    if (x + wide / 2 < viewport()->width())
      painter.drawText(QRectF(x - wide / 2 - 1, 0, wide + 2, bottom - PADDING), Qt::AlignCenter | Qt::TextSingleLine,
                       text);
  }
  painter.fillRect(QRectF(0, bottom - 1, viewport()->width(), 1), faint(palette(), 0.25));
}

// The thread of a lane, and a line above it.
void TimelineView::drawTitle(QPainter& painter, std::size_t lane, double top) const {
  const TimelineLanes::Lane& thread = m_lanes->lanes()[lane];
  if (lane > 0) painter.fillRect(QRectF(0, std::round(top - GAP), viewport()->width(), 1), faint(palette(), 0.12));
  QStringList names;
  for (const std::uint32_t name : thread.names) {
    const QString text = shown(m_lanes->names()[name].name);
    if (!names.contains(text)) names << text;
    if (names.size() == 3) break;
  }
  const QString number = tr("Thread %1").arg(QLocale().toString(thread.thread));
  const QRectF line(GAP, top, m_titles - 2 * GAP, rowHeight());
  const auto write = [&](const QRectF& area, double share, const QString& text) {
    painter.setPen(faint(palette(), share));
    painter.drawText(area, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     QFontMetricsF(font()).elidedText(text, Qt::ElideRight, area.width()));
  };
  write(line, 1, thread.isMain ? tr("Main thread") : names.join(QStringLiteral(", ")));
  if (thread.rows.size() > 1) write(line.translated(0, rowHeight()), 0.65, number);
}

void TimelineView::drawLanes(QPainter& painter, const TimelineColours& colours) {
  const auto& lanes = m_lanes->lanes();
  for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
    // Only the rows in view.
    const double above = (axisHeight() - rowTop(lane, 0)) / rowHeight();
    const auto first = static_cast<std::size_t>(std::max(0.0, std::floor(above)));
    for (std::size_t row = first; row < lanes[lane].rows.size(); ++row) {
      const double top = rowTop(lane, row);
      if (top > viewport()->height()) return;
      drawRow(painter, colours, lanes[lane].rows[row], top);
    }
  }
}

void TimelineView::drawRow(QPainter& painter, const TimelineColours& colours, const TimelineLanes::Row& row,
                           double top) {
  const int high = static_cast<int>(rowHeight()) - 1, y = static_cast<int>(std::round(top));
  QRect strip;  // columns beside each other that look the same
  const QColor* colour = nullptr;
  const auto finish = [&] {
    if (colour) painter.fillRect(strip, *colour);
    colour = nullptr;
  };
  for (const TimelineLanes::Bar& bar : TimelineLanes::bars(row, m_window, m_marked)) {
    const TimelineLanes::Span& span = row[bar.index];
    const QRect area(static_cast<int>(m_titles + bar.left), y, static_cast<int>(bar.right - bar.left), high);
    if (bar.share == 1 && area.width() > 2) {
      finish();
      drawBar(painter, colours, span, area, bar.isMarked);
      continue;
    }
    const auto& look = colours.of(m_lanes->nameOf(span).kind, m_isAnyMarked && !bar.isMarked);
    const auto level = static_cast<std::size_t>(bar.share * (TimelineColours::LEVELS - 1));
    const QColor* const own = &look.pale[bar.isMarked ? TimelineColours::LEVELS - 1 : level];
    if (own == colour && area.left() == strip.left() + strip.width()) {
      strip.setRight(area.right());
      continue;
    }
    finish();
    strip = area;
    colour = own;
  }
  finish();
}

void TimelineView::drawBar(QPainter& painter, const TimelineColours& colours, const TimelineLanes::Span& span,
                           const QRectF& area, bool isMarked) {
  const auto& look = colours.of(m_lanes->nameOf(span).kind, m_isAnyMarked && !isMarked);
  painter.setPen(look.border);
  if (span.isOpen && area.width() > area.height()) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(look.fill);
    painter.drawPath(tornOff(area.adjusted(0.5, 0.5, -0.5, -0.5)));
    painter.setRenderHint(QPainter::Antialiasing, false);
  } else {
    painter.fillRect(area, look.fill);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(area.adjusted(0, 0, -1, -1));
  }
  drawLabel(painter, colours, span, area);
}

// The shape of the kind and the name, as far as there is room, in the part that is in view.
void TimelineView::drawLabel(QPainter& painter, const TimelineColours& colours, const TimelineLanes::Span& span,
                             const QRectF& area) {
  const double left = std::max(area.left(), m_titles) + GAP / 2;
  double room = std::min(area.right(), m_titles + m_window.width) - GAP / 2 - left;
  const double square = std::round(area.height() * 0.4);
  if (room < square) return;
  const TimelineLanes::Name& name = m_lanes->nameOf(span);
  const auto& look = colours.of(name.kind, m_isAnyMarked && !m_marked[span.name]);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(look.border);
  drawKind(painter, name.kind, QRectF(left, area.top() + (area.height() - square) / 2, square, square));
  painter.setRenderHint(QPainter::Antialiasing, false);
  room -= square + GAP / 2;
  if (room < fontMetrics().averageCharWidth() * 4) return;
  painter.setPen(look.text);
  const QPointF at(left + square + GAP / 2, area.top() + PADDING);
  const Label& label = labelOf(span.name);
  if (label.width <= room) return painter.drawStaticText(at, label.text);
  painter.drawText(QRectF(at, QSizeF(room, area.height() - PADDING)), Qt::AlignLeft | Qt::TextSingleLine,
                   fontMetrics().elidedText(label.text.text(), Qt::ElideRight, static_cast<int>(room)));
}

const TimelineView::Label& TimelineView::labelOf(std::uint32_t name) {
  auto& label = m_labels[name];
  if (!label) {
    const QString text = titleOf(m_lanes->names()[name]);
    label = Label{QStaticText(text), QFontMetricsF(font()).horizontalAdvance(text)};
    label->text.setTextFormat(Qt::PlainText);
  }
  return *label;
}

void TimelineView::drawSelected(QPainter& painter) const {
  if (!m_selected) return;
  QRectF area = areaOf(*m_selected);
  area.setLeft(std::max(area.left(), m_titles - 4));
  area.setRight(std::min(area.right(), m_titles + m_window.width + 4));
  if (area.right() < m_titles - 2 || area.left() > m_titles + m_window.width + 2) return;
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(palette().text().color(), 2));
  painter.drawRect(
      QRectF(std::floor(area.left()), std::round(area.top()), std::ceil(std::max(area.width(), 2.0)), area.height())
          .adjusted(-1, 0, 1, 0));
}

// What people do.

void TimelineView::wheelEvent(QWheelEvent* event) {
  const QPoint delta = event->angleDelta();
  if (event->position().x() < m_titles) return QAbstractScrollArea::wheelEvent(event);
  const bool isAside = std::abs(delta.x()) > std::abs(delta.y());
  if (isAside || event->modifiers().testFlag(Qt::ShiftModifier))
    moveTo(static_cast<double>(m_window.from - m_lanes->begin()) -
           (isAside ? delta.x() : delta.y()) / 120.0 * m_window.length / 10);
  else
    setLength(m_window.length / std::pow(ZOOM, delta.y() / 120.0), event->position().x() - m_titles);
  event->accept();
}

void TimelineView::keyPressEvent(QKeyEvent* event) {
  if (isEmpty()) return QAbstractScrollArea::keyPressEvent(event);
  switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Left:
    case Qt::Key_Right:
      return moveBySelection(event->key());
    case Qt::Key_Plus:
    case Qt::Key_Equal:
      return zoomBy(ZOOM);
    case Qt::Key_Minus:
      return zoomBy(1 / ZOOM);
    case Qt::Key_Home:
      return moveTo(-total());
    case Qt::Key_End:
      return moveTo(total());
    case Qt::Key_Return:
    case Qt::Key_Enter:
      return zoomToSelected();
    case Qt::Key_Escape:
      return select(std::nullopt);
    default:
      QAbstractScrollArea::keyPressEvent(event);
  }
}

void TimelineView::moveBySelection(int key) {
  Place place = m_selected.value_or(Place());
  if (m_selected ? !step(key, place) : m_lanes->lanes().front().rows.front().empty()) return;
  if (!m_selected) place.index = TimelineLanes::nearest(m_lanes->lanes().front().rows.front(), m_window.from);
  select(place);
}

// To the neighbour in the same row, or to what is above or below in the part that is in view.
bool TimelineView::step(int key, Place& place) const {
  const auto& lanes = m_lanes->lanes();
  const TimelineLanes::Span& span = m_lanes->at(place);
  if (key == Qt::Key_Left) return place.index-- > 0;
  if (key == Qt::Key_Right) return ++place.index < lanes[place.lane].rows[place.row].size();
  const std::int64_t moment = std::clamp(m_window.timeAt(m_window.width / 2), span.start, span.end);
  for (;;) {
    if (key == Qt::Key_Up) {
      if (place.row == 0 && place.lane == 0) return false;
      place.row = place.row > 0 ? place.row - 1 : lanes[--place.lane].rows.size() - 1;
    } else if (++place.row == lanes[place.lane].rows.size()) {
      if (++place.lane == lanes.size()) return false;
      place.row = 0;
    }
    const TimelineLanes::Row& row = lanes[place.lane].rows[place.row];
    if (row.empty()) continue;
    place.index = TimelineLanes::nearest(row, moment);
    return true;
  }
}

void TimelineView::mousePressEvent(QMouseEvent* event) {
  if (event->button() == Qt::RightButton)
    if (const auto place = placeAt(event->position())) select(place);
  if (event->button() != Qt::LeftButton && event->button() != Qt::MiddleButton) return;
  m_pressed = event->position();
  m_pressedFrom = m_window.from;
  m_pressedValue = verticalScrollBar()->value();
}

void TimelineView::mouseMoveEvent(QMouseEvent* event) {
  if (!m_pressed) return showTip(event->position(), event->globalPosition().toPoint());
  const QPointF by = event->position() - *m_pressed;
  if (!m_isDragging && by.manhattanLength() < QApplication::startDragDistance()) return;
  if (!m_isDragging) viewport()->setCursor(Qt::ClosedHandCursor);
  m_isDragging = true;
  moveTo(static_cast<double>(m_pressedFrom - m_lanes->begin()) - by.x() / m_window.width * m_window.length);
  verticalScrollBar()->setValue(m_pressedValue - static_cast<int>(by.y()));
}

void TimelineView::mouseReleaseEvent(QMouseEvent* event) {
  if (m_pressed && !m_isDragging && event->button() == Qt::LeftButton) select(placeAt(event->position()));
  m_pressed.reset();
  m_isDragging = false;
  viewport()->unsetCursor();
}

void TimelineView::mouseDoubleClickEvent(QMouseEvent* event) {
  select(placeAt(event->position()));
  zoomToSelected();
}

void TimelineView::showTip(const QPointF& at, const QPoint& global) {
  const auto place = placeAt(at);
  if (!place) return QToolTip::hideText();
  QStringList lines;
  for (const QString& line : tipOf(*m_lanes, m_lanes->at(*place)).split(u'\n'))
    lines << (line.size() > LONGEST_LINE ? line.left(LONGEST_LINE) + u'…' : line).toHtmlEscaped();
  QToolTip::showText(global,
                     QStringLiteral("<p style='white-space:pre'>%1</p>").arg(lines.join(QStringLiteral("<br>"))),
                     viewport(), areaOf(*place).toAlignedRect().adjusted(-3, 0, 3, 0));
}

bool TimelineView::viewportEvent(QEvent* event) {
  const auto gesture = ZoomGesture::of(*event, *viewport());
  if (!gesture) return QAbstractScrollArea::viewportEvent(event);
  setLength(m_window.length / gesture->factor, gesture->at.x() - m_titles);
  return true;
}

void TimelineView::resizeEvent(QResizeEvent* event) {
  QAbstractScrollArea::resizeEvent(event);
  if (!m_tops.empty()) updateBars();
}

void TimelineView::changeEvent(QEvent* event) {
  QAbstractScrollArea::changeEvent(event);
  if (event->type() != QEvent::FontChange) return;
  m_labels.assign(m_lanes->names().size(), std::nullopt);
  layOut();
}

}  // namespace corvane::inspector
