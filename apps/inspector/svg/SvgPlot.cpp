#include "apps/inspector/svg/SvgPlot.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "apps/inspector/svg/Svg.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/RoundStep.h"

namespace corvane::inspector {

namespace {

constexpr double WIDTH = 860, LEFT = 70, RIGHT = 220, TOP = 66, PANEL = 210, GAP = 26, BOTTOM = 56;
constexpr double PLOT_WIDTH = WIDTH - LEFT - RIGHT;

class Axis {
 public:
  static constexpr int TICKS = 6;

  void include(double value) {
    if (!std::isfinite(value)) return;
    m_low = std::min(m_low, value);
    m_high = std::max(m_high, value);
  }

  /// Maps the values to the range from `from` to `to` in pixels, from tick to tick.
  void fit(double from, double to) {
    if (m_low > m_high) m_low = m_high = 0;
    if (m_low == m_high) m_high = m_low + std::max(1.0, std::abs(m_low) * 0.1);
    m_step = roundStep((m_high - m_low) / TICKS);
    // Data that exceeds a tick only by rounding errors does not start another interval.
    m_low = std::floor(m_low / m_step + 1e-6) * m_step;
    m_high = std::ceil(m_high / m_step - 1e-6) * m_step;
    m_from = from;
    m_to = to;
  }

  double operator()(double value) const { return m_from + (value - m_low) / (m_high - m_low) * (m_to - m_from); }

  std::vector<double> ticks() const {
    std::vector<double> result;
    for (int i = 0; i <= std::lround((m_high - m_low) / m_step); ++i) result.push_back(m_low + i * m_step);
    return result;
  }

  std::string label(double tick) const {
    return decimal(std::abs(tick) < m_step / 2 ? 0 : tick,
                   std::max(0, -static_cast<int>(std::floor(std::log10(m_step)))));
  }

 private:
  double m_low = std::numeric_limits<double>::infinity();
  double m_high = -std::numeric_limits<double>::infinity();
  double m_step = 1, m_from = 0, m_to = 1;
};

struct Canvas {
  std::string svg;

  void line(double x1, double y1, double x2, double y2, std::string_view style) {
    svg.append("<line x1='" + px(x1) + "' y1='" + px(y1) + "' x2='" + px(x2) + "' y2='" + px(y2) + "' ");
    svg.append(style).append("/>\n");
  }
  void text(double x, double y, std::string_view text, std::string_view style) {
    if (text.empty()) return;
    svg.append("<text x='" + px(x) + "' y='" + px(y) + "' ").append(style).append('>' + svgText(text) + "</text>\n");
  }
};

std::string strokeOf(const SvgPlot::Line& line) {
  return "fill='none' stroke='" + svgText(line.colour) + "' stroke-width='1.8' stroke-linejoin='round'" +
         (line.dashed ? " stroke-dasharray='6 4'" : "");
}

void drawCurve(Canvas& canvas, const SvgPlot::Line& line, const Axis& x, const Axis& y) {
  std::string path;
  bool pen = false;
  for (const SvgPlot::Point& point : line.points) {
    const bool visible = std::isfinite(point.x) && std::isfinite(point.y);
    if (visible) path += (pen ? 'L' : 'M') + px(x(point.x)) + " " + px(y(point.y));
    pen = visible;
  }
  if (!path.empty()) canvas.svg += "<path d='" + path + "' " + strokeOf(line) + "/>\n";
}

void drawLegend(Canvas& canvas, const std::vector<SvgPlot::Panel>& panels) {
  const double left = WIDTH - RIGHT + 22;
  double y = TOP + 8;
  for (const SvgPlot::Panel& panel : panels)
    for (const SvgPlot::Line& line : panel.lines) {
      if (line.label.empty()) continue;
      canvas.line(left, y, left + 28, y, strokeOf(line));
      canvas.text(left + 36, y + 4, line.label, "");
      canvas.text(left + 36, y + 20, line.note, "font-size='11' fill='#555'");
      y += line.note.empty() ? 26 : 42;
    }
}

}  // namespace

std::string SvgPlot::svg() const {
  const double height = TOP + static_cast<double>(panels.size()) * (PANEL + GAP) - GAP + BOTTOM;
  const double bottom = height - BOTTOM, right = LEFT + PLOT_WIDTH;

  Axis x;
  for (const Panel& panel : panels)
    for (const Line& line : panel.lines)
      for (const Point& point : line.points) x.include(point.x);
  x.fit(LEFT, right);

  const std::string size = "width='" + decimal(WIDTH, 0) + "' height='" + decimal(height, 0) + "'";
  Canvas canvas;
  canvas.svg = "<svg xmlns='http://www.w3.org/2000/svg' " + size + " viewBox='0 0 " + decimal(WIDTH, 0) + " " +
               decimal(height, 0) + "' font-family='sans-serif' font-size='13' fill='#222'>\n<title>" + svgText(title) +
               "</title>\n<rect " + size + " fill='white'/>\n";
  canvas.text(LEFT, 26, title, "font-size='16' font-weight='bold'");

  double top = TOP;
  for (const Panel& panel : panels) {
    const double base = top + PANEL;
    Axis y;
    for (const Line& line : panel.lines)
      for (const Point& point : line.points) y.include(point.y);
    y.fit(base, top);
    for (const double tick : y.ticks()) {
      canvas.line(LEFT, y(tick), right, y(tick), "stroke='#ddd'");
      canvas.text(LEFT - 8, y(tick) + 4, y.label(tick), "text-anchor='end'");
    }
    for (const double tick : x.ticks()) {
      canvas.line(x(tick), top, x(tick), base, "stroke='#ddd'");
      if (base == bottom) canvas.text(x(tick), base + 20, x.label(tick), "text-anchor='middle'");
    }
    canvas.line(LEFT, top, LEFT, base, "stroke='#222'");
    canvas.line(LEFT, base, right, base, "stroke='#222'");
    const std::string middle = px(top + PANEL / 2);
    canvas.text(20, top + PANEL / 2, panel.axis, "text-anchor='middle' transform='rotate(-90 20 " + middle + ")'");
    for (const Line& line : panel.lines) drawCurve(canvas, line, x, y);
    top = base + GAP;
  }
  for (const Mark& mark : marks) {
    canvas.line(x(mark.x), TOP - 6, x(mark.x), bottom, "stroke='#888' stroke-dasharray='2 3'");
    canvas.text(x(mark.x), TOP - 12, mark.label, "font-size='11' fill='#555'");
  }
  canvas.text(LEFT + PLOT_WIDTH / 2, bottom + 44, axis, "text-anchor='middle'");
  drawLegend(canvas, panels);
  return canvas.svg + "</svg>\n";
}

}  // namespace corvane::inspector
