#pragma once

#include <QAbstractScrollArea>
#include <QImage>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "apps/inspector/svg/SvgTree.h"
#include "apps/inspector/svg/TreeBoxes.h"

namespace corvane::inspector {

/// The processes as a tree that is dragged and zoomed: with the wheel and the control key, with two fingers, or by the
/// operations below. A double click, Return, and the blank fold what is below a process; arrow keys select the next
/// one.
class ProcessTreeView : public QAbstractScrollArea {
  Q_OBJECT

 public:
  static constexpr double LEAST_ZOOM = 0.05, GREATEST_ZOOM = 4;

  explicit ProcessTreeView(QWidget* parent = nullptr);

  /// What is selected, or else the root, stays where it is.
  void setRows(std::vector<ProcessRow> rows);

  void setSelected(std::set<pid_t> pids);

  /// Where a process is drawn in the viewport; empty if it is folded away.
  QRect placeOf(pid_t pid) const;

  double zoom() const { return m_zoom; }
  /// Between the limits; what is at this place of the viewport stays there.
  void setZoom(double zoom, const QPointF& at);
  void zoomBy(double factor);
  void fit();

  /// As large as it is drawn at a zoom of 1, or as much smaller as it must be to have not more than 48 million pixels.
  QImage picture() const;
  /// As a drawing, with a title.
  std::string svg(const std::string& title) const;

 Q_SIGNALS:
  /// Someone has clicked a process, or gone to it with a key.
  void selected(pid_t pid);

 protected:
  bool viewportEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void scrollContentsBy(int dx, int dy) override;
  void wheelEvent(QWheelEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  struct Node {
    QRectF place;
    std::ptrdiff_t parent;  // -1 for the root
    pid_t pid;
    bool isStrong;
    QString label;
    QString note;
    SvgTree::Tree* tree;
  };

  void rebuild();
  void makeNodes();
  void draw(QPainter& painter, const QRectF& seen, double zoom) const;
  void drawConnectors(QPainter& painter, const QRectF& seen, bool isSmall) const;
  void drawNode(QPainter& painter, const Node& node, double zoom) const;
  void showTip(const QPoint& at, const QPoint& global);
  void updateBars();
  void toggle(const Node& node);
  void select(const Node* node);
  void reveal(const Node& node);
  QRectF areaOf(const Node& node) const;
  const Node* nodeAt(const QPointF& at) const;
  const Node* nodeOf(pid_t pid) const;
  const Node* current() const;
  const Node* next(int key) const;
  QPointF offset() const;
  void scrollTo(const QPointF& offset);

  std::vector<ProcessRow> m_rows;
  std::shared_ptr<SvgTree::Tree> m_tree;
  std::vector<Node> m_nodes;  // parents before children
  QSizeF m_size;
  std::set<std::int64_t> m_toggled;  // nodes that are folded, or not, against what is usual
  std::set<pid_t> m_selected;
  double m_zoom = 1;
  bool m_isPlaced = false;
  std::optional<QPointF> m_pressed;
  QPointF m_pressedOffset;
  bool m_isDragging = false;
};

}  // namespace corvane::inspector
