#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

namespace corvane {

/// The arithmetic of LayoutTree::calculateNodePositions(), without the tree: horizontal positions for nodes given by
/// depth and separation. Applications use LayoutTree.
///
/// Time and memory are linear in the number of nodes, whatever the shape. Every subtree has a contour: for each of its
/// levels the least and the greatest x. The contours of siblings are merged from left to right level by level, down to
/// the last level that both have, and each merged level disappears into another one; so all merges together take no
/// more steps than there are nodes. A shift of a whole subtree is stored in one place and added when it is read.
class TidyLayout {
 public:
  /// A layout for this number of nodes.
  explicit TidyLayout(std::size_t count) { m_nodes.reserve(count); }

  /// Adds the next node in pre-order: the root (depth 0), then every subtree in order.
  void add(std::size_t depth, double separation) {
    close(depth);
    m_open.push_back(m_nodes.size());
    m_nodes.push_back({.separation = separation});
  }

  /// Gives every node an x next to its left sibling, moved to the right until its subtree clears those on its left.
  void calculateInitialX() {
    close(0);
    for (std::size_t node = m_nodes.size(); node-- > 0;) placeChildren(node);
  }

  /// Moves the whole tree to the right if a node has a negative x.
  void checkAllChildrenOnScreen() {
    Node& root = m_nodes.front();
    double shift = std::max(0.0, -root.x);
    double modSum = root.mod;
    for (std::size_t level = root.below; level != NONE; level = m_nodes[level].below) {
      shift = std::max(shift, -(m_nodes[level].leftContour + modSum));
      modSum += m_nodes[level].modSum;
    }
    root.x += shift;
    root.mod += shift;
  }

  /// Adds the shifts of the nodes above it to every node.
  void calculateFinalPositions() {
    m_nodes.front().modSum = 0;
    for (std::size_t parent = 0; parent < m_nodes.size(); ++parent) {
      const double modSum = m_nodes[parent].modSum + m_nodes[parent].mod;
      for (std::size_t child = parent + 1; child < m_nodes[parent].end; child = m_nodes[child].end) {
        m_nodes[child].x += modSum;
        m_nodes[child].modSum = modSum;
      }
    }
  }

  /// Position of a node by its number in pre-order.
  double x(std::size_t node) const { return m_nodes[node].x; }

 private:
  static constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();

  // As large as a cache line, and never across two of them: the passes jump from sibling to sibling.
  struct alignas(64) Node {
    double separation = 1;
    double x = -1;        // until the node is placed: the middle of its children
    double mod = 0;       // owed to the nodes below
    std::size_t end = 0;  // the node after its subtree

    // A level of a contour. The list that begins with a node is the contour of its subtree, and when siblings merge,
    // the list of the first one becomes that of them all.
    double leftContour = 0;   // least x, less the modSums of the levels above
    double rightContour = 0;  // greatest x, less the same modSums
    double modSum = 0;        // to be added to all levels below; at the end: what is owed to this node
    std::size_t below = NONE;
  };

  // The open nodes at a depth and deeper have their last descendant.
  void close(std::size_t depth) {
    for (; m_open.size() > depth; m_open.pop_back()) m_nodes[m_open.back()].end = m_nodes.size();
  }

  void placeChildren(std::size_t parent) {
    const std::size_t first = parent + 1, end = m_nodes[parent].end;
    if (first == end) {
      m_nodes[parent].x = 0;
      return;
    }
    std::size_t last = first;
    for (std::size_t child = first; child != end; child = m_nodes[child].end) {
      Node& node = m_nodes[child];
      if (child != first) {
        const double middle = node.x;
        node.x = m_nodes[last].x + node.separation;
        if (node.below != NONE) {
          node.mod = node.x - middle;
          checkForConflicts(first, child);
        }
      }
      node.leftContour = node.rightContour = node.x;
      node.modSum = node.mod;
      if (child != first) mergeContours(first, child);
      last = child;
    }
    m_nodes[parent].below = first;
    m_nodes[parent].x = first == last ? m_nodes[first].x : (m_nodes[first].x + m_nodes[last].x) * 0.5;
  }

  // Moves a subtree to the right of the siblings before it, whose contour begins with the first of them.
  void checkForConflicts(std::size_t first, std::size_t child) {
    Node& node = m_nodes[child];
    double shift = 0;
    double modSum = node.mod, siblingsModSum = m_nodes[first].modSum;
    std::size_t level = node.below, siblings = m_nodes[first].below;
    while (level != NONE && siblings != NONE) {
      const double left = m_nodes[level].leftContour + modSum;
      const double right = m_nodes[siblings].rightContour + siblingsModSum;
      shift = std::max(shift, node.separation - (left - right));
      modSum += m_nodes[level].modSum;
      siblingsModSum += m_nodes[siblings].modSum;
      level = m_nodes[level].below;
      siblings = m_nodes[siblings].below;
    }
    node.x += shift;
    node.mod += shift;
  }

  // Merges a contour into another one. The levels that both have are updated on the way.
  void mergeContours(std::size_t into, std::size_t from) {
    double intoModSum = 0, fromModSum = 0;
    for (;;) {
      Node& level = m_nodes[into];
      const Node& other = m_nodes[from];
      level.leftContour = std::min(level.leftContour + intoModSum, other.leftContour + fromModSum);
      level.rightContour = std::max(level.rightContour + intoModSum, other.rightContour + fromModSum);
      intoModSum += level.modSum;
      fromModSum += other.modSum;
      if (level.below == NONE || other.below == NONE) {
        level.modSum = level.below == NONE ? fromModSum : intoModSum;
        if (level.below == NONE) level.below = other.below;
        return;
      }
      level.modSum = 0;
      into = level.below;
      from = other.below;
    }
  }

  std::vector<Node> m_nodes;        // in pre-order
  std::vector<std::size_t> m_open;  // the last node and those above it
};

}  // namespace corvane
