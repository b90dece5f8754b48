#pragma once

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QSize>
#include <QString>
#include <QWidget>
#include <Qt>
#include <memory>
#include <optional>
#include <utility>

#include "corvane/platform/Export.h"

namespace corvane {

class Popover;
class PopoverFrame;

/// Is told that a Popover has closed.
class CORVANE_API PopoverDelegate {
 public:
  virtual ~PopoverDelegate() = default;

  /// Called once: the content is no longer on the screen. It can be kept by giving it another parent; otherwise it is
  /// deleted after this. The popover cannot be shown again; it may be deleted here.
  virtual void popoverClosed(Popover& popover) = 0;
};

/// Shows a widget beside a control, in a bubble that points at it. A click elsewhere closes it; dragging it off with
/// the mouse makes it an ordinary window with a title. Main thread.
///
///     m_details = std::make_unique<Popover>(tr("Details"), new DetailsView);
///     connect(button, &QPushButton::clicked, this, [=, this] { m_details->displayView(button, {}, Qt::BottomEdge); });
///
/// | state | begins with | ends with |
/// |---|---|---|
/// | hidden | construction, the end of the others | displayView() |
/// | shown as a bubble | displayView() | a click elsewhere, Escape, close(); its control going; being dragged off |
/// | detached: shown in a window | the user drops the bubble | the window is closed |
///
/// **Place.** The bubble appears on the side of the control that was asked for, or on another one where the screen
/// lacks the room. It follows its control when that or its window moves. On Wayland the compositor places it.
///
/// **Focus** goes into the content, to where it was the last time, and back when the bubble closes. Dragging off leaves
/// focus, selection and everything else in the content as it is.
///
/// **Ownership.** The content belongs to the popover, not to the control: it lives when the control is deleted, and
/// dies with the popover, or after this has told its delegate(), unless it has been given another parent.
///
/// Where there is a compositing manager, and the user does not prefer less motion, a bubble that closes fades away.
class CORVANE_API Popover : public QObject {
  Q_OBJECT

 public:
  /// A hidden popover with this content, whose present size it takes; that of its sizeHint() if it has not been given
  /// one. `title` is that of the window. If it is not `detachable`, it cannot be dragged off. Fatal without content.
  Popover(const QString& title, QWidget* viewController, bool detachable = true, QObject* parent = nullptr);
  ~Popover() override;

  /// Shows the content beside a rectangle of `sender` in the sender's coordinates, by default all of it. Moves a bubble
  /// that is shown; raises and activates the window if it is detached. Does nothing after the content has been dropped,
  /// or if the sender is not on the screen. Fatal without a sender.
  void displayView(QWidget* sender, const std::optional<QRect>& rect, Qt::Edge edge);

  /// Closes the bubble or the window, if it is open.
  void close();

  /// Gives the content another size, now and for all showings to come; at least a point each way. Fatal after the
  /// content has been dropped.
  void syncContentSize(const QSize& size);

  /// Whether the window is open. Not the bubble: that is seen only until the user turns to something else.
  bool isVisible() const;

  /// Whether it has ever been dragged off, or is being so.
  bool isDetached() const { return m_detached; }

  /// The content; fatal after it has been dropped.
  QWidget* viewController() const;

  /// Held until it has been told.
  std::shared_ptr<PopoverDelegate> delegate() const { return m_delegate; }
  void setDelegate(std::shared_ptr<PopoverDelegate> delegate) { m_delegate = std::move(delegate); }

 Q_SIGNALS:
  /// The bubble or the window has closed, after the delegate was told. Unlike the delegate, which is told once, it
  /// comes each time, and leaves the content where it is.
  void closed();

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  bool popoverShouldDetach();
  void popoverDidDetach(QPoint corner);
  void popoverDidClose();
  void moveContent(QWidget& window);
  void drop();

  std::shared_ptr<PopoverDelegate> m_delegate;
  QPointer<PopoverFrame> m_popover;
  QPointer<QWidget> m_detached_window;  // holds the content unless the bubble does
  QPointer<QWidget> m_content_view;
  QRect m_content_rect;  // in the window
  bool m_detached = false;
  bool m_detachable = true;
};

}  // namespace corvane
