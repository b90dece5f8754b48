#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "apps/inspector/svg/SvgTree.h"

namespace corvane::inspector {

/// Where the visible nodes of a laid-out tree are in its picture: levels in columns from the left, each as wide as its
/// widest box, and one unit of the layout is a row. The tree must stay as it is.
class TreeBoxes {
 public:
  static constexpr double ROW = 26, BOX = 20, GAP = 44, PADDING = 7, MARGIN = 14;

  struct Box {
    SvgTree::Tree* node;
    std::size_t level;
    double left = 0;
    double middle;  ///< its vertical centre
    double width;
    std::string label;  ///< at most SvgTree::MOST_COLUMNS long
    std::string note;   ///< of nodes with hidden children, the number of nodes below
  };

  /// `top` is the room above; `widthOf` measures a text.
  TreeBoxes(SvgTree::Tree& root, double top, const std::function<double(const std::string& text)>& widthOf);

  double width() const { return m_left.back() - GAP + MARGIN; }
  double height() const { return m_top + m_area.width() * ROW + BOX + 2 * MARGIN; }

  double leftOf(const SvgTree::Tree& node) const { return m_left[static_cast<std::size_t>(node.location().y)]; }
  double middleOf(const SvgTree::Tree& node) const {
    return m_top + MARGIN + BOX / 2 + (node.location().x - m_area.left) * ROW;
  }

  std::vector<Box> boxes;  ///< each before those below it

 private:
  double m_top;
  LayoutBox m_area;
  std::vector<double> m_left = {MARGIN};  // of each level, and the end
};

}  // namespace corvane::inspector
