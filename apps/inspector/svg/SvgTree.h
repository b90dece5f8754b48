#pragma once

#include <string>

#include "corvane/algorithms/LayoutTree.h"

namespace corvane::inspector {

/// What SvgTree draws of a node: a box with a label.
struct SvgNode {
  std::string label;      ///< a long one is cut, and whole when the pointer rests on the box
  std::string note = {};  ///< stands behind the label and marks the box, unless empty
  bool strong = false;    ///< drawn with emphasis
};

/// A laid-out tree as an SVG picture: the root at the left, levels in columns, parents at half the height of their
/// children, with connectors. One unit of the layout is a row. A node with hidden children has their number, and that
/// of the nodes below them, for its note.
class SvgTree {
 public:
  using Tree = LayoutTree<SvgNode>;

  /// Characters of a label at most; those of East Asia count twice.
  static constexpr std::size_t MOST_COLUMNS = 28;

  /// What hideLarge() is usually given.
  static constexpr std::size_t HIDE = 50;

  /// Hides the children of nodes with more than `most` nodes shown below them, from the lowest up; the root keeps its
  /// own. Sets the separations.
  static void hideLarge(Tree& root, std::size_t most);

  /// Hides the children for which there is no room among so many shown nodes, from the root down; the root keeps its
  /// own. Sets the separations.
  static void fit(Tree& root, std::size_t most);

  /// The picture of the visible nodes, which have been given their positions.
  static std::string svg(Tree& root, const std::string& title);
};

}  // namespace corvane::inspector
