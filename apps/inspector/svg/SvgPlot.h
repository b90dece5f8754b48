#pragma once

#include <string>
#include <vector>

namespace corvane::inspector {

/// A figure as an SVG picture: panels stacked over one horizontal axis, with ticks, a grid, and a legend on the right.
/// Texts are UTF-8. The axes span the data, from tick to tick.
struct SvgPlot {
  struct Point {
    double x, y;
  };
  struct Line {
    std::string colour;  ///< as in CSS
    bool dashed = false;
    std::string label = {};          ///< in the legend; a line without a label is not listed
    std::string note = {};           ///< below the label, in smaller letters
    std::vector<Point> points = {};  ///< in drawing order; a point that is not finite leaves a gap
  };
  struct Panel {
    std::string axis;              ///< quantity and unit of the vertical axis
    std::vector<Line> lines = {};  ///< later ones are drawn over earlier ones
  };
  /// An event, drawn as a vertical line through all panels.
  struct Mark {
    double x;
    std::string label;
  };

  std::string title;
  std::string axis;  ///< quantity and unit of the horizontal axis
  std::vector<Panel> panels;
  std::vector<Mark> marks;

  /// The picture.
  std::string svg() const;
};

}  // namespace corvane::inspector
