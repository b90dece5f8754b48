#pragma once

#include <QPolygonF>
#include <deque>
#include <vector>

#include "apps/inspector/model/History.h"

namespace corvane::inspector {

/// The part of a time axis that a graph shows, and its pixels.
struct TimeWindow {
  Moment end;
  double span = 60;   ///< seconds
  double width = 60;  ///< columns of pixels

  double xOf(Moment time) const { return width - std::chrono::duration<double>(end - time).count() / span * width; }
  Moment timeAt(double x) const {
    const std::chrono::duration<double> before((width - x) / width * span);
    return end - std::chrono::duration_cast<Moment::duration>(before);
  }
};

/// A line through readings without a gap, with x in pixels and the values for y. Of the readings in a column of pixels
/// it has the average; the lowest and the highest ones stand at the same place in the other two.
struct GraphStroke {
  QPolygonF line;
  QPolygonF low;
  QPolygonF high;
};

/// The lines between the gaps, from the last reading before the window on.
std::vector<GraphStroke> graphStrokes(const std::deque<Reading>& readings, const TimeWindow& window);

}  // namespace corvane::inspector
