#include "corvane/ui/Popover.h"

#include <QEvent>
#include <QWindow>

#include "corvane/core/Log.h"
#include "corvane/core/fatal.h"
#include "corvane/ui/Appearance.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/PopoverFrame.h"

namespace corvane {

namespace {

constexpr auto TITLED =
    Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint;
constexpr QSize LEAST(1, 1);
constexpr QSize MOST(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);

}  // namespace

Popover::Popover(const QString& title, QWidget* viewController, bool detachable, QObject* parent)
    : QObject(parent), m_content_view(viewController), m_detachable(detachable) {
  requireMainThread("Popover");
  if (!viewController) fatal("Popover: there is no content");
  (void)prefersReducedMotion();  // begins to find it out
  if (!viewController->testAttribute(Qt::WA_Resized)) viewController->adjustSize();
  m_content_rect = QRect({}, viewController->size().expandedTo(LEAST));
  m_detached_window = new QWidget(nullptr, TITLED);
  m_detached_window->setWindowTitle(title);
  m_detached_window->setFixedSize(m_content_rect.size());
  m_detached_window->installEventFilter(this);
  moveContent(*m_detached_window);
}

Popover::~Popover() {
  drop();
}

QWidget* Popover::viewController() const {
  if (!m_content_view) fatal("Popover.viewController: it has been dropped");
  return m_content_view;
}

bool Popover::isVisible() const {
  return m_detached_window && m_detached_window->isVisible();
}

void Popover::displayView(QWidget* sender, const std::optional<QRect>& rect, Qt::Edge edge) {
  requireMainThread("Popover.displayView");
  if (!m_detached_window) return;
  if (isVisible()) {
    m_detached_window->setWindowState(m_detached_window->windowState() & ~Qt::WindowMinimized);
    m_detached_window->raise();
    m_detached_window->activateWindow();
    return;
  }
  if (!m_content_view) return;
  if (!sender) fatal("Popover.displayView: the sender is no view");
  if (!sender->isVisible()) return logNotice("Popover.displayView: the sender is not on the screen");
  if (!m_popover) {
    m_popover =
        new PopoverFrame(m_detached_window->windowTitle(), *m_content_view, [this] { return popoverShouldDetach(); });
    connect(m_popover, &PopoverFrame::draggedOff, this, &Popover::popoverDidDetach);
    connect(m_popover, &PopoverFrame::closed, this, &Popover::popoverDidClose);
    moveContent(*m_popover);
  }
  m_content_view->resize(m_content_rect.size());
  m_popover->pointAt(*sender, rect, edge);
}

void Popover::close() {
  requireMainThread("Popover.close");
  if (m_popover)
    m_popover->performClose();
  else if (isVisible())
    m_detached_window->close();
}

void Popover::syncContentSize(const QSize& size) {
  requireMainThread("Popover.syncContentSize");
  if (!m_detached_window) fatal("Popover.syncContentSize: the window has been dropped");
  m_content_rect.setSize(size.expandedTo(LEAST).boundedTo(MOST));
  m_detached_window->setFixedSize(m_content_rect.size());
  if (m_content_view) m_content_view->resize(m_content_rect.size());
  if (m_popover) m_popover->place();
}

bool Popover::eventFilter(QObject* object, QEvent* event) {
  if (object != m_detached_window) return false;
  if (event->type() == QEvent::Hide && !event->spontaneous()) popoverDidClose();
  // Some window managers give windows another size than they ask for.
  if (event->type() == QEvent::Resize && m_content_view && m_content_view->parentWidget() == object)
    m_content_view->resize(m_detached_window->size());
  return false;
}

bool Popover::popoverShouldDetach() {
  return m_detached = m_detachable;
}

void Popover::popoverDidDetach(QPoint corner) {
  m_detached = true;
  PopoverFrame* const bubble = std::exchange(m_popover, nullptr);
  QWindow* const owner = bubble->windowHandle()->transientParent();
  bubble->disconnect(this);
  bubble->hide();
  bubble->deleteLater();
  moveContent(*m_detached_window);
  m_detached_window->setGeometry(QRect(corner, m_detached_window->size()));  // without the frame
  m_detached_window->winId();
  // A modal window allows no other window to be used but its own.
  m_detached_window->windowHandle()->setTransientParent(owner && owner->isModal() ? owner : nullptr);
  m_detached_window->show();
  m_detached_window->activateWindow();
}

void Popover::popoverDidClose() {
  if (PopoverFrame* const bubble = std::exchange(m_popover, nullptr)) {
    bubble->deleteLater();
    moveContent(*m_detached_window);
  }
  const QPointer<Popover> self = this;
  if (const auto delegate = m_delegate) {
    delegate->popoverClosed(*this);
    if (!self) return;
    m_delegate.reset();
    drop();
  }
  Q_EMIT closed();
}

// From a window that is hidden, so that the widget with the focus does not notice.
void Popover::moveContent(QWidget& window) {
  if (!m_content_view) return;
  const QPointer<QWidget> focus = m_content_view->focusWidget();
  m_content_view->setParent(&window);
  m_content_view->setGeometry(m_content_rect);
  m_content_view->show();
  if (focus) focus->setFocus(Qt::PopupFocusReason);
}

// Later, because a widget of the content may be at work.
void Popover::drop() {
  for (QWidget* const window : {static_cast<QWidget*>(m_popover), m_detached_window.data()}) {
    if (!window) continue;
    window->removeEventFilter(this);
    window->disconnect(this);
    window->hide();
    window->deleteLater();
  }
  m_popover = nullptr;
  m_detached_window = nullptr;
  m_content_view = nullptr;
}

}  // namespace corvane
