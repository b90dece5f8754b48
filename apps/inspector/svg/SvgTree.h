#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "corvane/algorithms/LayoutTree.h"

namespace corvane::inspector {

/// A node as drawn by SvgTree: a box with a label.
struct SvgNode {
  std::string label;      ///< a long label is cut; a tooltip shows it whole
  std::string note = {};  ///< if not empty, follows the label and marks the box
  bool strong = false;    ///< whether it is emphasised
  std::int64_t id = 0;    ///< whose node it is, for the caller
};

/// A laid-out tree as an SVG picture: the root on the left, levels in columns, parents centred on their children, with
/// connectors. One unit of the layout is a row. The note of a node with hidden children is the number of those and the
/// nodes below them.
class SvgTree {
 public:
  using Tree = LayoutTree<SvgNode>;

  /// The greatest length of a label in characters; wide (East Asian) ones count twice.
  static constexpr std::size_t MOST_COLUMNS = 28;

  /// The usual argument of hideLarge().
  static constexpr std::size_t HIDE = 50;

  /// Hides the children of nodes with more than `most` nodes shown below them, from the lowest up; the root's children
  /// stay visible. Sets the separations.
  static void hideLarge(Tree& root, std::size_t most);

  /// Hides children so that at most `most` nodes are shown, from the root down; the root's children stay visible. Sets
  /// the separations.
  static void fit(Tree& root, std::size_t most);

  /// The picture of the visible nodes, whose positions must have been calculated.
  static std::string svg(Tree& root, const std::string& title);
};

}  // namespace corvane::inspector
