#pragma once

#include <QPainterPath>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QWidget>
#include <Qt>
#include <functional>
#include <optional>
#include <vector>

namespace corvane {

/// The bubble of a Popover, for one showing: a border around the content, with an arrow that points at a control. A
/// child that lets mouse events pass, such as a label, is a place to drag it by.
class PopoverFrame : public QWidget {
  Q_OBJECT

 public:
  /// A hidden one; the content is to become a child of it. `title` is for assistive technology. `shouldDetach` is asked
  /// whether it may be dragged off, once the user begins to.
  PopoverFrame(const QString& title, QWidget& content, std::function<bool()> shouldDetach);

  /// Shows it beside that rectangle of the anchor, by default all of it.
  void pointAt(QWidget& anchor, const std::optional<QRect>& rect, Qt::Edge edge);

  /// Adapts it to the content's size and the anchor's place.
  void place();

  /// Closes it; what is seen of it fades away.
  void performClose();

 Q_SIGNALS:
  /// The user has let go of it. `corner` is the content's on the screen, moved only so far that a title fits there too.
  void draggedOff(QPoint corner);
  /// It has been hidden, by anyone.
  void closed();

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void watch(QWidget& anchor);
  QRect body() const;
  QPainterPath outline() const;
  void shape();
  QPoint cornerOfContent() const;

  const QPointer<QWidget> m_content;
  const std::function<bool()> m_shouldDetach;
  const bool m_isTranslucent;
  QPointer<QWidget> m_anchor;
  std::vector<QPointer<QWidget>> m_watched;  // the anchor and all that it lies in
  std::optional<QRect> m_rect;
  Qt::Edge m_wanted = Qt::BottomEdge;
  Qt::Edge m_edge = Qt::BottomEdge;  // of the anchor, where this is
  QPoint m_tip;                      // what the arrow points at
  std::optional<QPoint> m_press;     // where it is held
  bool m_isDragged = false;
};

}  // namespace corvane
