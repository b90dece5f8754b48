#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <vector>

#include "apps/inspector/model/History.h"
#include "apps/inspector/window/GraphAxis.h"
#include "apps/inspector/window/GraphStrokes.h"

namespace corvane::inspector {

/// A graph of readings over the last minutes, with the latest values beside the title, and those of another time
/// beside the mouse. It draws only itself, on a round rectangle of the palette's base colour (none if that is
/// transparent), and needs no window for it.
class LineGraph : public QWidget {
  Q_OBJECT

 public:
  /// The history must outlive the graph.
  struct Line {
    QString name;  ///< empty if it is the only one
    const History* history;
  };

  LineGraph(const QString& title, Unit unit, std::vector<Line> lines, QWidget* parent = nullptr);

  /// The ends of the vertical axis for the lowest and the highest value shown, which they are without this. They are
  /// rounded unless they are exact.
  void setRange(std::function<Range(Range shown)> range, bool isExact);

  /// What stands beside the title in a faint colour.
  void setNote(const QString& note);

  /// How many seconds the graph shows; a minute at first.
  void setSpan(int seconds);

  /// Whether there is a value to show.
  bool hasValue() const;

  /// Shows the readings until now.
  void refresh();

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  struct Drawing;

  QString latest(const Line& line) const;
  QFont smallFont() const;
  bool isMirrored() const { return layoutDirection() == Qt::RightToLeft; }
  QRectF plotArea() const;
  TimeWindow window() const;
  void drawTitle(QPainter& painter) const;
  void drawAxes(QPainter& painter, const Drawing& drawing) const;
  void drawLines(QPainter& painter, const Drawing& drawing) const;
  void drawHover(QPainter& painter, const Drawing& drawing) const;
  void drawText(QPainter& painter, const QRectF& area, Qt::Alignment alignment, const QString& text) const;

  const QString m_title;
  const Unit m_unit;
  const std::vector<Line> m_lines;
  std::function<Range(Range shown)> m_range = [](Range shown) { return shown; };
  bool m_isExact = false;
  QString m_note;
  double m_span = 60;
  Moment m_now = Moment::clock::now();
  std::optional<QPointF> m_mouse;
};

}  // namespace corvane::inspector
