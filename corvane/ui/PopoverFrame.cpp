#include "corvane/ui/PopoverFrame.h"

#include <QApplication>
#include <QBitmap>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPropertyAnimation>
#include <QWindow>
#include <algorithm>
#include <array>
#include <utility>

#include "corvane/ui/Appearance.h"
#include "corvane/ui/Screen.h"
#include "corvane/ui/WindowSystem.h"

namespace corvane {

namespace {

constexpr int ARROW = 10;  // its height, and half its width, in points
constexpr int RADIUS = 6;
constexpr int MARGIN = 8;                        // between border and content
constexpr int LEAST = 2 * (RADIUS + ARROW + 1);  // an edge that has room for the arrow
constexpr int FADE = 120;                        // ms
constexpr int FAR = 1'000'000;                   // beyond every screen
constexpr auto BUBBLE = Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint;

bool isUpright(Qt::Edge edge) {
  return edge == Qt::LeftEdge || edge == Qt::RightEdge;
}

Qt::Edge opposite(Qt::Edge edge) {
  switch (edge) {
    case Qt::LeftEdge:
      return Qt::RightEdge;
    case Qt::RightEdge:
      return Qt::LeftEdge;
    case Qt::TopEdge:
      return Qt::BottomEdge;
    default:
      return Qt::TopEdge;
  }
}

// A rectangle of this size at an edge of the other one, in the middle of it.
QRect beside(const QRect& anchor, const QSize& size, Qt::Edge edge) {
  QRect rect({}, size);
  rect.moveCenter(anchor.center());
  switch (edge) {
    case Qt::LeftEdge:
      rect.moveRight(anchor.left() - 1);
      break;
    case Qt::RightEdge:
      rect.moveLeft(anchor.right() + 1);
      break;
    case Qt::TopEdge:
      rect.moveBottom(anchor.top() - 1);
      break;
    default:
      rect.moveTop(anchor.bottom() + 1);
  }
  return rect;
}

QRect movedInto(const QRect& outer, QRect rect) {
  rect.moveLeft(std::max(outer.left(), std::min(rect.left(), outer.right() + 1 - rect.width())));
  rect.moveTop(std::max(outer.top(), std::min(rect.top(), outer.bottom() + 1 - rect.height())));
  return rect;
}

// What the bubble may cover. A Wayland client does not know where its windows are: there it is the compositor's affair.
QRect visibleFrameAt(const QWidget& anchor, const QPoint& point) {
  if (isWayland()) return {-FAR, -FAR, 2 * FAR, 2 * FAR};
  QScreen* const screen = QGuiApplication::screenAt(point);
  return Screen(screen ? screen : anchor.screen()).visibleFrame();
}

// A picture of a window that has closed, going away.
class Fading : public QWidget {
 public:
  explicit Fading(QWidget& window)
      : QWidget(nullptr, BUBBLE | Qt::ToolTip | Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus),
        m_picture(window.grab()) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_DeleteOnClose);
    setGeometry(window.geometry());
    auto* const fade = new QPropertyAnimation(this, "windowOpacity", this);
    fade->setStartValue(1.0);
    fade->setEndValue(0.0);
    fade->setDuration(FADE);
    connect(fade, &QAbstractAnimation::finished, this, &QWidget::close);
    show();
    fade->start();
  }

 protected:
  void paintEvent(QPaintEvent*) override { QPainter(this).drawPixmap(0, 0, m_picture); }

 private:
  const QPixmap m_picture;
};

}  // namespace

PopoverFrame::PopoverFrame(const QString& title, QWidget& content, std::function<bool()> shouldDetach)
    : QWidget(nullptr, BUBBLE | Qt::Popup),
      m_content(&content),
      m_shouldDetach(std::move(shouldDetach)),
      m_isTranslucent(isComposited()) {
  setAttribute(Qt::WA_TranslucentBackground, m_isTranslucent);
  setWindowTitle(title);
  setAccessibleName(title);
}

void PopoverFrame::pointAt(QWidget& anchor, const std::optional<QRect>& rect, Qt::Edge edge) {
  watch(anchor);
  m_rect = rect;
  m_wanted = edge;
  place();
  winId();
  windowHandle()->setTransientParent(anchor.window()->windowHandle());
  show();
  if (!focusWidget()) focusNextPrevChild(true);
}

void PopoverFrame::watch(QWidget& anchor) {
  for (QWidget* const widget : m_watched)
    if (widget) widget->removeEventFilter(this);
  m_watched.clear();
  if (m_anchor) m_anchor->disconnect(this);
  m_anchor = &anchor;
  connect(m_anchor, &QObject::destroyed, this, &QWidget::close);
  for (QWidget* widget = &anchor; widget; widget = widget->isWindow() ? nullptr : widget->parentWidget()) {
    widget->installEventFilter(this);
    m_watched.emplace_back(widget);
  }
}

// Follows its anchor, and goes with it.
bool PopoverFrame::eventFilter(QObject* object, QEvent* event) {
  switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
      place();
      break;
    case QEvent::Hide:
      close();
      break;
    case QEvent::WindowStateChange:
      if (static_cast<QWidget*>(object)->isMinimized()) close();
      break;
    default:
      break;
  }
  return false;
}

void PopoverFrame::place() {
  if (!m_anchor || !m_content || m_isDragged) return;
  const QRect rect = m_rect.value_or(m_anchor->rect());
  const QRect anchor(m_anchor->mapToGlobal(rect.topLeft()), rect.size());
  const QRect free = visibleFrameAt(*m_anchor, anchor.center());
  const QSize inner = (m_content->size() + QSize(2 * MARGIN, 2 * MARGIN)).expandedTo({LEAST, LEAST});
  const auto at = [&](Qt::Edge edge) {
    return beside(anchor, inner + (isUpright(edge) ? QSize(ARROW, 0) : QSize(0, ARROW)), edge);
  };
  const auto fits = [&](Qt::Edge edge) {
    const QRect frame = at(edge);
    return isUpright(edge) ? frame.left() >= free.left() && frame.right() <= free.right()
                           : frame.top() >= free.top() && frame.bottom() <= free.bottom();
  };
  const Qt::Edge across = isUpright(m_wanted) ? Qt::BottomEdge : Qt::RightEdge;
  const std::array edges = {m_wanted, opposite(m_wanted), across, opposite(across)};
  const auto* const found = std::ranges::find_if(edges, fits);
  m_edge = found == edges.end() ? m_wanted : *found;
  const QRect frame = movedInto(free, at(m_edge));
  m_tip = anchor.center() - frame.topLeft();
  setGeometry(frame);
  m_content->move(body().topLeft() + QPoint(MARGIN, MARGIN));
  shape();
}

void PopoverFrame::performClose() {
  if (isVisible() && takesOpacity() && !prefersReducedMotion()) new Fading(*this);
  close();
}

QRect PopoverFrame::body() const {
  return rect().adjusted(m_edge == Qt::RightEdge ? ARROW : 0, m_edge == Qt::BottomEdge ? ARROW : 0,
                         m_edge == Qt::LeftEdge ? -ARROW : 0, m_edge == Qt::TopEdge ? -ARROW : 0);
}

// Along the middle of the border, which is a point wide.
QPainterPath PopoverFrame::outline() const {
  const QRectF border = QRectF(body()).adjusted(0.5, 0.5, -0.5, -0.5);
  QPainterPath path;
  path.addRoundedRect(border, RADIUS, RADIUS);
  if (m_isDragged) return path;
  // As if it pointed up at the origin, then turned. Its foot lies in the body, so that no line parts them.
  const QPolygonF arrow({{-ARROW, ARROW + 1}, {-ARROW, ARROW}, {0, 0}, {ARROW, ARROW}, {ARROW, ARROW + 1}});
  constexpr double ROOM = RADIUS + ARROW;
  const double x = std::clamp<double>(m_tip.x(), border.left() + ROOM, border.right() - ROOM);
  const double y = std::clamp<double>(m_tip.y(), border.top() + ROOM, border.bottom() - ROOM);
  QTransform turn;
  switch (m_edge) {
    case Qt::LeftEdge:
      turn.translate(border.right() + ARROW, y).rotate(90);
      break;
    case Qt::RightEdge:
      turn.translate(border.left() - ARROW, y).rotate(-90);
      break;
    case Qt::TopEdge:
      turn.translate(x, border.bottom() + ARROW).rotate(180);
      break;
    default:
      turn.translate(x, border.top() - ARROW);
  }
  QPainterPath pointer;
  pointer.addPolygon(turn.map(arrow));
  pointer.closeSubpath();
  return path.united(pointer);
}

// Without a compositing manager what is translucent would be black.
void PopoverFrame::shape() {
  update();
  if (m_isTranslucent) return;
  QBitmap mask(size());
  mask.clear();
  QPainter painter(&mask);
  painter.setPen(Qt::color1);
  painter.setBrush(Qt::color1);
  painter.drawPath(outline());
  painter.end();
  setMask(mask);
}

void PopoverFrame::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing, m_isTranslucent);
  painter.setPen(palette().color(QPalette::PlaceholderText));
  painter.setBrush(palette().window());
  painter.drawPath(outline());
}

void PopoverFrame::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Cancel))
    performClose();
  else
    QWidget::keyPressEvent(event);
}

void PopoverFrame::mousePressEvent(QMouseEvent* event) {
  const QPoint place = event->position().toPoint();
  if (!rect().contains(place)) return performClose();
  if (event->button() == Qt::LeftButton) m_press = place;
}

void PopoverFrame::mouseMoveEvent(QMouseEvent* event) {
  if (!m_press) return;
  if (!m_isDragged) {
    const QPoint way = event->position().toPoint() - *m_press;
    if (way.manhattanLength() < QApplication::startDragDistance() || !m_shouldDetach()) return;
    m_isDragged = true;
    shape();
  }
  move(event->globalPosition().toPoint() - *m_press);
}

// The toolkit holds the mouse until now.
void PopoverFrame::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  m_press.reset();
  if (m_isDragged && m_content) Q_EMIT draggedOff(cornerOfContent());
}

// A frame is known only some time after its window has been shown: this supposes one like that of the anchor's window.
QPoint PopoverFrame::cornerOfContent() const {
  const QWindow* const window = m_anchor ? m_anchor->window()->windowHandle() : nullptr;
  const QMargins margins = window ? window->frameMargins() : QMargins();
  const QRect frame = QRect(m_content->mapToGlobal(QPoint()), m_content->size()).marginsAdded(margins);
  return movedInto(visibleFrameAt(*m_content, frame.center()), frame).marginsRemoved(margins).topLeft();
}

void PopoverFrame::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  if (!event->spontaneous()) Q_EMIT closed();
}

}  // namespace corvane
