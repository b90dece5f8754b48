#pragma once

#include <QAbstractScrollArea>
#include <QStaticText>
#include <memory>
#include <optional>
#include <vector>

#include "apps/inspector/window/TimelineLanes.h"

namespace corvane::inspector {

class TimelineColours;

/// A recording as a timeline: below an axis a lane for each thread, in which spans lie below those they are part of.
/// Time goes from left to right in all languages.
///
/// Spans that are too narrow to be seen are drawn together, the paler the less of the time they take. The wheel zooms
/// around the mouse; with Shift it moves through time, over the threads' names through the lanes. Dragging moves, + and
/// - zoom, the arrow keys go from span to span, Return zooms to the selected one.
class TimelineView : public QAbstractScrollArea {
  Q_OBJECT

 public:
  using Place = TimelineLanes::Place;

  static constexpr double LEAST_LENGTH = 1e3;  ///< nanoseconds in view

  explicit TimelineView(QWidget* parent = nullptr);

  /// Shows all of it.
  void setLanes(std::shared_ptr<const TimelineLanes> lanes);
  const TimelineLanes& lanes() const { return *m_lanes; }

  /// Is shown while there are no spans.
  void setPlaceholderText(const QString& text);

  /// Emphasises the spans of some names, by their places in names(), and shows others faintly; none if it is empty.
  void setMarked(std::vector<bool> names);
  const std::vector<bool>& marked() const { return m_marked; }

  const std::optional<Place>& selected() const { return m_selected; }
  /// Selects a span and brings it into view, or none.
  void select(const std::optional<Place>& place);

  double length() const { return m_window.length; }  ///< nanoseconds in view

  /// Shows as much time, within the limits; what is at this column of the viewport stays there.
  void setLength(double nsec, double x);
  void zoomBy(double factor);
  void showAll();
  void zoomToSelected();

  /// The span at a place of the viewport.
  std::optional<Place> placeAt(const QPointF& at) const;
  /// Where a span is drawn in the viewport.
  QRectF areaOf(const Place& place) const;

 Q_SIGNALS:
  void selectionChanged();

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
  struct Label {
    QStaticText text;
    double width;
  };

  void layOut();
  void moveTo(double from);
  void updateBars();
  void moveBySelection(int key);
  bool step(int key, Place& place) const;
  void reveal(const Place& place);
  void drawAxis(QPainter& painter) const;
  void drawLanes(QPainter& painter, const TimelineColours& colours);
  void drawRow(QPainter& painter, const TimelineColours& colours, const TimelineLanes::Row& row, double top);
  void drawBar(QPainter& painter, const TimelineColours& colours, const TimelineLanes::Span& span, const QRectF& area,
               bool isMarked);
  void drawLabel(QPainter& painter, const TimelineColours& colours, const TimelineLanes::Span& span,
                 const QRectF& area);
  void drawTitle(QPainter& painter, std::size_t lane, double top) const;
  void drawSelected(QPainter& painter) const;
  const Label& labelOf(std::uint32_t name);
  bool isEmpty() const { return m_lanes->count() == 0; }
  double rowHeight() const;
  double axisHeight() const;
  double rowTop(std::size_t lane, std::size_t row) const;
  double total() const;
  void showTip(const QPointF& at, const QPoint& global);

  std::shared_ptr<const TimelineLanes> m_lanes;
  QString m_placeholder;
  std::vector<bool> m_marked;  // of each name
  bool m_isAnyMarked = false;
  std::vector<double> m_tops;  // of the lanes, from the first one's top; and the end
  double m_titles = 0;         // the width of the threads' names
  TimelineWindow m_window;
  std::vector<std::optional<Label>> m_labels;  // of the names
  std::optional<Place> m_selected;
  std::optional<QPointF> m_pressed;
  std::int64_t m_pressedFrom = 0;
  int m_pressedValue = 0;
  bool m_isDragging = false;
};

}  // namespace corvane::inspector
