#include "apps/inspector/window/GraphStrokes.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace corvane::inspector {

namespace {

// The readings in one column of pixels.
class Column {
 public:
  bool takes(double x) const { return m_count > 0 && std::floor(x) == std::floor(m_x); }

  void add(double x, double value) {
    if (m_count++ == 0) {
      m_x = x;
      m_low = m_high = value;
      m_sum = 0;
    }
    m_low = std::min(m_low, value);
    m_high = std::max(m_high, value);
    m_sum += value;
  }

  void moveTo(GraphStroke& stroke) {
    if (m_count == 0) return;
    const double x = m_count == 1 ? m_x : std::floor(m_x) + 0.5;
    stroke.line << QPointF(x, m_sum / m_count);
    stroke.low << QPointF(x, m_low);
    stroke.high << QPointF(x, m_high);
    m_count = 0;
  }

 private:
  int m_count = 0;
  double m_x = 0, m_low = 0, m_high = 0, m_sum = 0;
};

}  // namespace

std::vector<GraphStroke> graphStrokes(const std::deque<Reading>& readings, const TimeWindow& window) {
  const Moment begin = window.timeAt(0);
  auto reading = std::ranges::lower_bound(readings, begin, {}, &Reading::time);
  if (reading != readings.begin()) --reading;
  std::vector<GraphStroke> strokes;
  GraphStroke stroke;
  Column column;
  const auto finish = [&] {
    column.moveTo(stroke);
    if (!stroke.line.isEmpty()) strokes.push_back(std::exchange(stroke, {}));
  };
  for (; reading != readings.end() && reading->time <= window.end; ++reading) {
    if (std::isnan(reading->value)) {
      finish();
      continue;
    }
    const double x = window.xOf(reading->time);
    if (!column.takes(x)) column.moveTo(stroke);
    column.add(x, reading->value);
  }
  finish();
  return strokes;
}

}  // namespace corvane::inspector
