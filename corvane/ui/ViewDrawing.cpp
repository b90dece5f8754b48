#include "corvane/ui/ViewDrawing.h"

#include <QLayout>
#include <QPointer>
#include <QScrollBar>
#include <utility>
#include <vector>

namespace corvane {

namespace {

// Puts back what a view has lost to another frame, and forgets that it had one.
class ViewFrame {
 public:
  explicit ViewFrame(QWidget& view)
      : m_view(view),
        m_frame(view.geometry()),
        m_isResized(view.testAttribute(Qt::WA_Resized)),
        m_isMoved(view.testAttribute(Qt::WA_Moved)) {
    for (QScrollBar* const bar : view.findChildren<QScrollBar*>()) m_places.emplace_back(bar, bar->value());
  }

  ~ViewFrame() {
    m_view.setGeometry(m_frame);
    m_view.setAttribute(Qt::WA_Resized, m_isResized);
    m_view.setAttribute(Qt::WA_Moved, m_isMoved);
    for (const auto& [bar, value] : m_places)
      if (bar) bar->setValue(value);
  }

  ViewFrame(const ViewFrame&) = delete;
  ViewFrame& operator=(const ViewFrame&) = delete;

 private:
  QWidget& m_view;
  const QRect m_frame;
  const bool m_isResized, m_isMoved;
  std::vector<std::pair<QPointer<QScrollBar>, int>> m_places;
};

}  // namespace

void drawView(QPainter& painter, QWidget& view, const QSize& size) {
  const ViewFrame frame(view);
  view.ensurePolished();
  // The window manager would move and resize a window that it shows, and might not take that back.
  const bool isOnScreen = view.isVisible() && (view.isWindow() || view.testAttribute(Qt::WA_NativeWindow));
  if (!isOnScreen) view.setGeometry({QPoint(), size});
  if (view.layout()) view.layout()->activate();
  if (view.size().isEmpty()) return;
  painter.save();
  painter.scale(size.width() / double(view.width()), size.height() / double(view.height()));
  view.render(&painter, {}, {}, QWidget::DrawChildren);
  painter.restore();
}

}  // namespace corvane
