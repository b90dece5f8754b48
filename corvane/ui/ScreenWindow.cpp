#include "corvane/ui/ScreenWindow.h"

#include <QApplication>
#include <QEvent>
#include <QRegion>
#include <QTimerEvent>
#include <QWindow>
#include <algorithm>
#include <string>
#include <vector>

#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/RectText.h"
#include "corvane/ui/Screen.h"
#include "corvane/ui/WindowSystem.h"

namespace corvane {

namespace {

constexpr int SETTLED = 500;     // ms
constexpr QSize HANDLE(64, 24);  // what must be seen of a title bar, in points
constexpr int THICK = 100;       // no frame is thicker
constexpr auto SPECIAL = Qt::WindowMinimized | Qt::WindowMaximized | Qt::WindowFullScreen;
constexpr char MAXIMIZED[] = "maximized";
constexpr char MARGINS[] = "margins";  // the frame around nothing

std::int64_t area(const QRect& rect) {
  return rect.isEmpty() ? 0 : std::int64_t{rect.width()} * rect.height();
}

std::int64_t squareDistance(QPoint point, const QRect& rect) {
  const std::int64_t x = point.x() - std::clamp(point.x(), rect.left(), rect.right());
  const std::int64_t y = point.y() - std::clamp(point.y(), rect.top(), rect.bottom());
  return x * x + y * y;
}

// A rectangle whose beginning lies within the other one, and that is no larger.
QRect movedInto(const QRect& outer, QRect rect) {
  rect.setSize(rect.size().boundedTo(outer.size()));
  rect.moveLeft(std::clamp(rect.left(), outer.left(), outer.right() + 1 - rect.width()));
  rect.moveTop(std::clamp(rect.top(), outer.top(), outer.bottom() + 1 - rect.height()));
  return rect;
}

// The frame, changed as little as is needed to use the window on a desktop with these visible frames.
QRect reachable(const QRect& frame, const std::vector<QRect>& visibleFrames) {
  QRegion desktop;
  for (const QRect& visible : visibleFrames) desktop += visible;
  if (visibleFrames.empty() || desktop.intersected(frame) == QRegion(frame)) return frame;
  const QRect& home = *std::ranges::max_element(visibleFrames, [&](const QRect& one, const QRect& other) {
    const std::int64_t less = area(one & frame) - area(other & frame);
    return less != 0 ? less < 0 : squareDistance(frame.center(), one) > squareDistance(frame.center(), other);
  });
  const QSize handle = HANDLE.boundedTo(frame.size());
  const bool isHeld = std::ranges::any_of(visibleFrames, [&](const QRect& visible) {
    const QRect held = visible & QRect(frame.topLeft(), QSize(frame.width(), handle.height()));
    return held.width() >= handle.width() && held.height() == handle.height();
  });
  return isHeld && frame.size().boundedTo(home.size()) == frame.size() ? frame : movedInto(home, frame);
}

std::vector<QRect> visibleFrames() {
  std::vector<QRect> frames;
  for (const Screen& screen : Screen::screens()) frames.push_back(screen.visibleFrame());
  return frames;
}

// The screen that shows the largest part of a window; empty if none shows any.
Screen screenOf(const QWidget& window) {
  if (isWayland()) return Screen(window.screen());
  Screen found;
  std::int64_t largest = 0;
  for (const Screen& screen : Screen::screens())
    if (const std::int64_t part = area(screen.frame() & window.frameGeometry()); part > largest) {
      found = screen;
      largest = part;
    }
  return found;
}

}  // namespace

ScreenWindow::ScreenWindow(QWidget* parent, Qt::WindowFlags flags) : QMainWindow(parent, flags) {
  requireMainThread("ScreenWindow");
  connect(qApp, &QGuiApplication::commitDataRequest, this, &ScreenWindow::save);
  connect(qApp, &QCoreApplication::aboutToQuit, this, &ScreenWindow::save);
  connect(qApp, &QGuiApplication::screenRemoved, this, [this] {
    m_isStranded = true;
    m_settled.start(SETTLED, this);
  });
}

ScreenWindow::~ScreenWindow() = default;

bool ScreenWindow::setFrameAutosaveName(const QString& name) {
  m_autosaveName.clear();
  const auto defaults = UserDefaults::shared();
  const auto load = [&](const char* prefix, const QString& rest) {
    return defaults->string(prefix + rest.toStdString()).value_or("");
  };
  const std::string display = load("SCREEN_", windowTitle());
  if (const auto frame = rectFromString(load("FRAME_", windowTitle())); frame && !display.empty())
    for (const Screen& screen : Screen::screens())
      if (screen.displayNameNumber() == display) {
        restore(frame->translated(screen.visibleFrame().topLeft()));
        return true;
      }
  if (name.isEmpty()) return true;
  const auto hasName = [&](const QWidget* other) {
    const auto* const window = qobject_cast<const ScreenWindow*>(other);
    return window && window->m_autosaveName == name;
  };
  if (std::ranges::any_of(QApplication::topLevelWidgets(), hasName)) return false;
  m_autosaveName = name;
  if (const auto frame = rectFromString(load("AUTOSAVE_", name))) restore(*frame);
  return true;
}

void ScreenWindow::restore(const QRect& frame) {
  const Value state =
      UserDefaults::shared()->dictionary("STATE_" + windowTitle().toStdString()).value_or(Value::Dictionary());
  const Value* const margins = state.find(MARGINS);
  const auto around = rectFromString(margins && margins->isString() ? *margins->asString() : "");
  if (m_margins.isNull() && around && QRect(-THICK, -THICK, 2 * THICK, 2 * THICK).contains(*around))
    m_margins = QMargins(-around->left(), -around->top(), around->right() + 1, around->bottom() + 1);
  m_wanted = reachable(frame, visibleFrames());
  setWindowState(windowState() & ~(Qt::WindowMaximized | Qt::WindowFullScreen));
  place(*m_wanted);
  if (const Value* const isMaximized = state.find(MAXIMIZED);
      isMaximized && isMaximized->asBool() && *isMaximized->asBool())
    setWindowState(windowState() | Qt::WindowMaximized);
}

void ScreenWindow::place(const QRect& frame) {
  resize(frame.marginsRemoved(m_margins).size());
  move(frame.topLeft());
}

bool ScreenWindow::event(QEvent* event) {
  const bool isTaken = QMainWindow::event(event);
  switch (event->type()) {
    case QEvent::Close:
      if (event->isAccepted()) save();
      break;
    case QEvent::Paint:  // the window manager has mapped the window
      if (m_wanted) QMetaObject::invokeMethod(this, &ScreenWindow::fitFrame, Qt::QueuedConnection);
      break;
    case QEvent::Show:
    case QEvent::Move:
    case QEvent::Resize:
      if (m_wanted) fitFrame();
      if (isVisible()) m_settled.start(SETTLED, this);
      break;
    default:
      break;
  }
  return isTaken;
}

// Only a window that is on the screen knows its margins; one that is maximised has others.
bool ScreenWindow::learnMargins() {
  if (!isVisible() || !windowHandle()->isExposed() || windowState() & SPECIAL) return false;
  const QMargins before = std::exchange(m_margins, windowHandle()->frameMargins());
  return m_margins != before;
}

void ScreenWindow::fitFrame() {
  // Unless somebody else has chosen another size.
  const bool isOurs = m_wanted && size() == m_wanted->marginsRemoved(m_margins).size();
  if (learnMargins() && isOurs) resize(m_wanted->marginsRemoved(m_margins).size());
}

void ScreenWindow::timerEvent(QTimerEvent* event) {
  if (event->timerId() != m_settled.timerId()) return QMainWindow::timerEvent(event);
  m_settled.stop();
  if (!(windowState() & SPECIAL)) m_wanted.reset();
  if (!isVisible()) return;
  learnMargins();
  // The window manager has had time to do it.
  if (std::exchange(m_isStranded, false) && !(windowState() & SPECIAL) && !isWayland())
    if (const QRect frame = reachable(frameGeometry(), visibleFrames()); frame != frameGeometry()) place(frame);
  saveAutosave();
}

QRect ScreenWindow::normalFrame() const {
  // The toolkit takes the frame's corner for the window's while it has not seen the frame.
  if (m_wanted && (windowState() & SPECIAL || !windowHandle()->isExposed())) return *m_wanted;
  const bool isNormal = !isMaximized() && !isFullScreen();
  return isNormal || !normalGeometry().isValid() ? frameGeometry() : normalGeometry().marginsAdded(m_margins);
}

void ScreenWindow::save() {
  const Screen screen = isVisible() ? screenOf(*this) : Screen();
  if (screen.isEmpty()) return;
  const std::string title = windowTitle().toStdString();
  const QRect visible = screen.visibleFrame();
  QRect frame = normalFrame();
  if (isWayland()) frame.moveTopLeft(visible.topLeft());
  if (isMaximized() || isFullScreen()) frame = reachable(frame, {visible});
  // One change, so that the two belong together; a failure is logged there.
  (void)UserDefaults::shared()->apply(
      {{"SCREEN_" + title, screen.displayNameNumber()},
       {"FRAME_" + title, stringFromRect(frame.translated(-visible.topLeft()))},
       {"STATE_" + title, Value::Dictionary{{MAXIMIZED, isMaximized()},
                                            {MARGINS, stringFromRect(QRect(0, 0, 0, 0).marginsAdded(m_margins))}}}});
  saveAutosave();
}

void ScreenWindow::saveAutosave() {
  if (m_autosaveName.isEmpty() || screenOf(*this).isEmpty()) return;
  Defaults.saveString("AUTOSAVE_" + m_autosaveName.toStdString(), stringFromRect(normalFrame()));
}

}  // namespace corvane
