#include "apps/inspector/window/ProcessTreeView.h"

#include <QApplication>
#include <QHelpEvent>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QToolTip>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <limits>

#include "apps/inspector/svg/ProcessTree.h"
#include "apps/inspector/window/Colours.h"
#include "apps/inspector/window/ProcessText.h"
#include "apps/inspector/window/Shown.h"
#include "apps/inspector/window/ZoomGesture.h"

namespace corvane::inspector {

namespace {

constexpr double SMALL = 0.45;        // from this zoom on downwards there are no texts
constexpr double STEP = 1.25;         // of the zoom
constexpr double MOST_PIXELS = 48e6;  // of a picture
constexpr double MOST_ON_A_SIDE = 30e3;

}  // namespace

ProcessTreeView::ProcessTreeView(QWidget* parent) : QAbstractScrollArea(parent) {
  setAccessibleName(tr("Tree of processes"));
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::StrongFocus);
  viewport()->setBackgroundRole(QPalette::Base);
  viewport()->grabGesture(Qt::PinchGesture);
  rebuild();
}

void ProcessTreeView::setRows(std::vector<ProcessRow> rows) {
  m_rows = std::move(rows);
  rebuild();
}

void ProcessTreeView::setSelected(std::set<pid_t> pids) {
  if (pids == m_selected) return;
  m_selected = std::move(pids);
  viewport()->update();
}

void ProcessTreeView::rebuild() {
  const Node* const before = current() ? current() : m_nodes.empty() ? nullptr : &m_nodes.front();
  const pid_t kept = before ? before->pid : 0;
  const QPointF place = before ? before->place.topLeft() : QPointF();
  m_tree = processTree(m_rows, std::numeric_limits<std::size_t>::max(),
                       {.root = tr("Processes: %1").arg(QLocale().toString(m_rows.size())).toStdString(),
                        .kernel = tr("Kernel threads").toStdString()});
  m_tree->autoHideNodes([this](SvgTree::Tree& node) {
    if (m_toggled.contains(node.data()->id)) node.setChildrenHidden(!node.childrenHidden());
  });
  m_tree->calculateNodePositions();
  makeNodes();
  updateBars();
  if (const Node* const now = before ? nodeOf(kept) : nullptr)
    scrollTo(offset() + (now->place.topLeft() - place) * m_zoom);
  viewport()->update();
}

void ProcessTreeView::makeNodes() {
  const QFontMetricsF metrics(font());
  const TreeBoxes boxes(
      *m_tree, 0, [&metrics](const std::string& text) { return std::ceil(metrics.horizontalAdvance(shown(text))); });
  m_size = QSizeF(boxes.width(), boxes.height());
  std::unordered_map<const SvgTree::Tree*, std::ptrdiff_t> places;
  m_nodes.clear();
  m_nodes.reserve(boxes.boxes.size());
  for (const TreeBoxes::Box& box : boxes.boxes) {
    const double left = isRightToLeft() ? m_size.width() - box.left - box.width : box.left;
    const auto parent = places.find(box.node->parent().get());
    places.emplace(box.node, static_cast<std::ptrdiff_t>(m_nodes.size()));
    const SvgNode& value = *box.node->data();
    m_nodes.push_back({QRectF(left, box.middle - TreeBoxes::BOX / 2, box.width, TreeBoxes::BOX),
                       parent == places.end() ? -1 : parent->second, static_cast<pid_t>(value.id), value.strong,
                       shown(box.label), QString::fromStdString(box.note), box.node});
  }
}

// The pictures.

void ProcessTreeView::paintEvent(QPaintEvent* event) {
  QPainter painter(viewport());
  painter.translate(-offset());
  painter.scale(m_zoom, m_zoom);
  const QRectF seen = QTransform::fromScale(1 / m_zoom, 1 / m_zoom).mapRect(QRectF(event->rect()).translated(offset()));
  draw(painter, seen, m_zoom);
}

QImage ProcessTreeView::picture() const {
  const double most = std::min({1.0, std::sqrt(MOST_PIXELS / (m_size.width() * m_size.height())),
                                MOST_ON_A_SIDE / m_size.height(), MOST_ON_A_SIDE / m_size.width()});
  QImage image((m_size * most).toSize().expandedTo(QSize(1, 1)), QImage::Format_RGB32);
  image.fill(palette().color(QPalette::Base));
  QPainter painter(&image);
  painter.setFont(font());
  painter.scale(most, most);
  draw(painter, QRectF(QPointF(), m_size), 1);
  return image;
}

std::string ProcessTreeView::svg(const std::string& title) const {
  return SvgTree::svg(*m_tree, title);
}

void ProcessTreeView::draw(QPainter& painter, const QRectF& seen, double zoom) const {
  painter.setLayoutDirection(Qt::LayoutDirectionAuto);  // a number and a name stay in this order
  drawConnectors(painter, seen, zoom < SMALL);
  painter.setRenderHint(QPainter::Antialiasing, zoom >= SMALL);
  for (const Node& node : m_nodes)
    if (node.place.intersects(seen)) drawNode(painter, node, zoom);
}

// Small ones are straight, which is fast for thousands.
void ProcessTreeView::drawConnectors(QPainter& painter, const QRectF& seen, bool isSmall) const {
  QPen pen(mixed(palette().color(QPalette::Base), palette().color(QPalette::Text), 0.35), 1);
  pen.setCosmetic(true);
  painter.setPen(pen);
  painter.setBrush(Qt::NoBrush);
  painter.setRenderHint(QPainter::Antialiasing, !isSmall);
  const double sign = isRightToLeft() ? -1 : 1;
  QList<QLineF> lines;
  QPainterPath curves;
  for (const Node& node : m_nodes) {
    if (node.parent < 0) continue;
    const QRectF& above = m_nodes[static_cast<std::size_t>(node.parent)].place;
    const QPointF to(sign > 0 ? node.place.left() : node.place.right(), node.place.center().y());
    const QPointF from(sign > 0 ? above.right() : above.left(), above.center().y());
    if (std::max(from.y(), to.y()) < seen.top() || std::min(from.y(), to.y()) > seen.bottom() ||
        std::max(from.x(), to.x()) < seen.left() || std::min(from.x(), to.x()) > seen.right())
      continue;
    const QPointF stem(to.x() - sign * TreeBoxes::GAP, from.y());
    if (isSmall) {
      const double bend = to.x() - sign * TreeBoxes::GAP / 2;
      lines << QLineF(from, {bend, from.y()}) << QLineF({bend, from.y()}, {bend, to.y()}) << QLineF({bend, to.y()}, to);
      continue;
    }
    const double bend = to.x() - sign * TreeBoxes::GAP / 2;
    curves.moveTo(from);
    curves.lineTo(stem);
    curves.cubicTo({bend, stem.y()}, {bend, to.y()}, to);
  }
  isSmall ? painter.drawLines(lines) : painter.drawPath(curves);
}

void ProcessTreeView::drawNode(QPainter& painter, const Node& node, double zoom) const {
  const QColor base = palette().color(QPalette::Base), text = palette().color(QPalette::Text),
               highlight = palette().color(QPalette::Highlight);
  const bool isSelected = node.pid > 0 && m_selected.contains(node.pid);
  const QColor fill = isSelected ? highlight : node.isStrong ? mixed(base, highlight, 0.22) : mixed(base, text, 0.06);
  if (zoom < SMALL) return painter.fillRect(node.place, isSelected || node.isStrong ? fill : mixed(base, text, 0.25));
  QPen pen(node.isStrong || isSelected ? highlight : mixed(base, text, 0.25), 1);
  if (!node.note.isEmpty()) pen.setStyle(Qt::DashLine);
  painter.setPen(pen);
  painter.setBrush(fill);
  painter.drawRoundedRect(node.place, 4, 4);
  painter.setPen(isSelected ? palette().color(QPalette::HighlightedText) : text);
  painter.drawText(node.place, Qt::AlignCenter | Qt::TextSingleLine,
                   node.note.isEmpty() ? node.label : node.label + u' ' + node.note);
}

// Places.

// A narrow tree stands where lines begin.
QPointF ProcessTreeView::offset() const {
  const double room = viewport()->width() - m_size.width() * m_zoom;
  return QPointF(isRightToLeft() && room > 0 ? -room : horizontalScrollBar()->value(), verticalScrollBar()->value());
}

void ProcessTreeView::scrollTo(const QPointF& offset) {
  horizontalScrollBar()->setValue(static_cast<int>(std::lround(offset.x())));
  verticalScrollBar()->setValue(static_cast<int>(std::lround(offset.y())));
}

void ProcessTreeView::updateBars() {
  const QSizeF size = m_size * m_zoom;
  const auto set = [](QScrollBar* bar, double all, int page) {
    bar->setRange(0, std::max(0, static_cast<int>(std::ceil(all)) - page));
    bar->setPageStep(page);
    bar->setSingleStep(static_cast<int>(TreeBoxes::ROW));
  };
  horizontalScrollBar()->setLayoutDirection(Qt::LeftToRight);  // its values are places
  set(horizontalScrollBar(), size.width(), viewport()->width());
  set(verticalScrollBar(), size.height(), viewport()->height());
  if (m_isPlaced || !isVisible() || m_nodes.empty()) return;
  m_isPlaced = true;  // at first the root is seen
  const QPointF middle = m_nodes.front().place.center() * m_zoom;
  scrollTo({isRightToLeft() ? size.width() : 0, middle.y() - viewport()->height() / 2.0});
}

void ProcessTreeView::setZoom(double zoom, const QPointF& at) {
  const QPointF place = (offset() + at) / m_zoom;
  m_zoom = std::clamp(zoom, LEAST_ZOOM, GREATEST_ZOOM);
  updateBars();
  scrollTo(place * m_zoom - at);
  viewport()->update();
}

void ProcessTreeView::zoomBy(double factor) {
  const Node* const node = current();
  const QRectF area = QRectF(viewport()->rect());
  const QPointF place = node ? node->place.center() * m_zoom - offset() : area.center();
  setZoom(m_zoom * factor, area.contains(place) ? place : area.center());
}

void ProcessTreeView::fit() {
  const QSizeF size = QSizeF(maximumViewportSize());
  setZoom(std::min({1.0, size.width() / m_size.width(), size.height() / m_size.height()}), {});
}

const ProcessTreeView::Node* ProcessTreeView::nodeAt(const QPointF& at) const {
  const QPointF place = (offset() + at) / m_zoom;
  const auto found = std::ranges::find_if(m_nodes, [&](const Node& node) { return node.place.contains(place); });
  return found == m_nodes.end() ? nullptr : &*found;
}

const ProcessTreeView::Node* ProcessTreeView::nodeOf(pid_t pid) const {
  const auto found = std::ranges::find(m_nodes, pid, &Node::pid);
  return found == m_nodes.end() ? nullptr : &*found;
}

// In the viewport.
QRectF ProcessTreeView::areaOf(const Node& node) const {
  return {node.place.topLeft() * m_zoom - offset(), node.place.size() * m_zoom};
}

QRect ProcessTreeView::placeOf(pid_t pid) const {
  const Node* const node = nodeOf(pid);
  return node ? areaOf(*node).toAlignedRect() : QRect();
}

const ProcessTreeView::Node* ProcessTreeView::current() const {
  return m_selected.empty() ? nullptr : nodeOf(*m_selected.begin());
}

// What people do.

void ProcessTreeView::select(const Node* node) {
  if (!node || node->pid <= 0) return;
  setSelected({node->pid});
  reveal(*node);
  Q_EMIT selected(node->pid);
}

void ProcessTreeView::reveal(const Node& node) {
  const QRectF area = areaOf(node);
  const QRectF view = viewport()->rect();
  QPointF by;
  if (area.right() > view.right()) by.setX(area.right() - view.right() + TreeBoxes::MARGIN);
  if (area.left() < by.x()) by.setX(area.left() - TreeBoxes::MARGIN);
  if (area.bottom() > view.bottom()) by.setY(area.bottom() - view.bottom() + TreeBoxes::MARGIN);
  if (area.top() < 0) by.setY(area.top() - TreeBoxes::MARGIN);
  scrollTo(offset() + by);
}

void ProcessTreeView::toggle(const Node& node) {
  if (node.tree->childCount() == 0 || node.parent < 0) return;
  const std::int64_t id = node.tree->data()->id;
  if (m_toggled.erase(id) == 0) m_toggled.insert(id);
  rebuild();
}

// The neighbour in the direction of an arrow key.
const ProcessTreeView::Node* ProcessTreeView::next(int key) const {
  const Node* const from = current();
  if (!from) return m_nodes.size() > 1 ? &m_nodes[1] : nullptr;
  const int up = isRightToLeft() ? Qt::Key_Right : Qt::Key_Left;
  if (key == up) return from->parent < 0 ? nullptr : &m_nodes[static_cast<std::size_t>(from->parent)];
  const auto index = from - m_nodes.data();
  const bool isVertical = key == Qt::Key_Up || key == Qt::Key_Down;
  const Node* best = nullptr;
  for (const Node& node : m_nodes) {
    if (!isVertical && node.parent == index) return &node;
    const double by = node.place.top() - from->place.top();
    const bool isBeyond = key == Qt::Key_Down ? by > 0 : by < 0;
    if (!isVertical || !isBeyond || node.tree->location().y != from->tree->location().y) continue;
    if (!best || std::abs(by) < std::abs(best->place.top() - from->place.top())) best = &node;
  }
  return best;
}

void ProcessTreeView::keyPressEvent(QKeyEvent* event) {
  switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Left:
    case Qt::Key_Right:
      return select(next(event->key()));
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
      if (const Node* const node = current()) toggle(*node);
      return;
    default:
      QAbstractScrollArea::keyPressEvent(event);
  }
}

void ProcessTreeView::wheelEvent(QWheelEvent* event) {
  if (!event->modifiers().testFlag(Qt::ControlModifier)) return QAbstractScrollArea::wheelEvent(event);
  setZoom(m_zoom * std::pow(STEP, event->angleDelta().y() / 120.0), event->position());
  event->accept();
}

void ProcessTreeView::mousePressEvent(QMouseEvent* event) {
  if (event->button() == Qt::RightButton) select(nodeAt(event->position()));
  if (event->button() != Qt::LeftButton && event->button() != Qt::MiddleButton) return;
  m_pressed = event->position();
  m_pressedOffset = offset();
}

void ProcessTreeView::mouseMoveEvent(QMouseEvent* event) {
  if (!m_pressed) return;
  const QPointF by = event->position() - *m_pressed;
  if (!m_isDragging && by.manhattanLength() < QApplication::startDragDistance()) return;
  if (!m_isDragging) viewport()->setCursor(Qt::ClosedHandCursor);
  m_isDragging = true;
  scrollTo(m_pressedOffset - by);
}

void ProcessTreeView::mouseReleaseEvent(QMouseEvent* event) {
  if (m_pressed && !m_isDragging && event->button() == Qt::LeftButton) select(nodeAt(event->position()));
  m_pressed.reset();
  m_isDragging = false;
  viewport()->unsetCursor();
}

void ProcessTreeView::mouseDoubleClickEvent(QMouseEvent* event) {
  if (const Node* const node = nodeAt(event->position())) toggle(*node);
}

bool ProcessTreeView::viewportEvent(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    const auto* const help = static_cast<QHelpEvent*>(event);
    showTip(help->pos(), help->globalPos());
    return true;
  }
  const auto gesture = ZoomGesture::of(*event, *viewport());
  if (!gesture) return QAbstractScrollArea::viewportEvent(event);
  setZoom(m_zoom * gesture->factor, gesture->at);
  return true;
}

void ProcessTreeView::showTip(const QPoint& at, const QPoint& global) {
  const Node* const node = nodeAt(at);
  const auto row = node ? std::ranges::find(m_rows, node->pid, &ProcessRow::pid) : m_rows.end();
  if (row == m_rows.end()) return QToolTip::hideText();
  QStringList lines = {nameOf(*row)};
  for (const ProcessColumn column : {ProcessColumn::USER, ProcessColumn::PROCESSOR, ProcessColumn::MEMORY})
    lines << titleOf(column) + u' ' + textOf(*row, column);
  lines << textOf(*row, ProcessColumn::COMMAND).left(400);
  for (QString& line : lines) line = line.toHtmlEscaped();
  QToolTip::showText(global, QStringLiteral("<p>%1</p>").arg(lines.join(QStringLiteral("<br>"))), this);
}

void ProcessTreeView::resizeEvent(QResizeEvent* event) {
  QAbstractScrollArea::resizeEvent(event);
  updateBars();
}

// Only what comes into view is painted.
void ProcessTreeView::scrollContentsBy(int dx, int dy) {
  viewport()->scroll(dx, dy);
}

void ProcessTreeView::changeEvent(QEvent* event) {
  QAbstractScrollArea::changeEvent(event);
  if (m_tree && (event->type() == QEvent::FontChange || event->type() == QEvent::LayoutDirectionChange)) rebuild();
}

}  // namespace corvane::inspector
