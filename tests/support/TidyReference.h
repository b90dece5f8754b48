#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "corvane/algorithms/LayoutTree.h"

namespace corvane::testing {

/// The tidy layout as it is defined, pass by pass: recursive, with contours that are built anew for every check, and
/// therefore quadratic. What LayoutTree computes is compared with it.
class TidyReference {
 public:
  /// The locations of a tree's visible nodes, in pre-order.
  template <class T>
  static std::vector<LayoutPoint> locationsOf(const LayoutTree<T>& tree) {
    TidyReference root(tree, nullptr, 0);
    root.calculateNodePositions();
    std::vector<LayoutPoint> locations;
    root.collect(locations);
    return locations;
  }

 private:
  using Contour = std::map<std::int64_t, double>;

  template <class T>
  TidyReference(const LayoutTree<T>& node, TidyReference* parent, std::size_t index)
      : m_parent(parent), m_index(index), m_separation(node.nodeSeparation()) {
    for (const auto& child : node.children())
      m_children.push_back(std::unique_ptr<TidyReference>(new TidyReference(*child, this, m_children.size())));
  }

  bool isLeaf() const { return m_children.empty(); }
  bool isLeftMost() const { return m_index == 0; }
  const TidyReference& previousSibling() const { return *m_parent->m_children[m_index - 1]; }

  void calculateNodePositions() {
    initialiseNodes(0);
    calculateInitialX();
    checkAllChildrenOnScreen();
    calculateFinalPositions(0);
  }

  void initialiseNodes(int depth) {
    m_x = -1;
    m_y = depth;
    m_mod = 0;
    for (auto& child : m_children) child->initialiseNodes(depth + 1);
  }

  void calculateInitialX() {
    for (auto& child : m_children) child->calculateInitialX();
    if (isLeaf()) {
      m_x = isLeftMost() ? 0 : previousSibling().m_x + m_separation;
    } else if (m_children.size() == 1) {
      if (isLeftMost()) {
        m_x = m_children[0]->m_x;
      } else {
        m_x = previousSibling().m_x + m_separation;
        m_mod = m_x - m_children[0]->m_x;
      }
    } else {
      const double middle = (m_children.front()->m_x + m_children.back()->m_x) * 0.5;
      if (isLeftMost()) {
        m_x = middle;
      } else {
        m_x = previousSibling().m_x + m_separation;
        m_mod = m_x - middle;
      }
    }
    if (!isLeaf() && !isLeftMost()) checkForConflicts();
  }

  void checkForConflicts() {
    double shift = 0;
    Contour left;
    leftContour(0, left);
    for (std::size_t i = 0; i < m_index; ++i) {
      Contour right;
      m_parent->m_children[i]->rightContour(0, right);
      const std::int64_t last = std::min(right.rbegin()->first, left.rbegin()->first);
      for (auto depth = static_cast<std::int64_t>(m_y) + 1; depth <= last; ++depth) {
        const double need = m_separation - (left.at(depth) - right.at(depth));
        if (need > shift) shift = need;
      }
    }
    m_x += shift;
    m_mod += shift;
  }

  void leftContour(double modSum, Contour& contour) const {
    const auto [place, isNew] = contour.try_emplace(static_cast<std::int64_t>(m_y), m_x + modSum);
    if (!isNew) place->second = std::min(place->second, m_x + modSum);
    for (const auto& child : m_children) child->leftContour(modSum + m_mod, contour);
  }

  void rightContour(double modSum, Contour& contour) const {
    const auto [place, isNew] = contour.try_emplace(static_cast<std::int64_t>(m_y), m_x + modSum);
    if (!isNew) place->second = std::max(place->second, m_x + modSum);
    for (const auto& child : m_children) child->rightContour(modSum + m_mod, contour);
  }

  void checkAllChildrenOnScreen() {
    Contour contour;
    leftContour(0, contour);
    double shift = 0;
    for (const auto& [depth, x] : contour)
      if (shift + x < 0) shift = -x;
    if (shift > 0) {
      m_x += shift;
      m_mod += shift;
    }
  }

  void calculateFinalPositions(double modSum) {
    m_x += modSum;
    for (auto& child : m_children) child->calculateFinalPositions(modSum + m_mod);
  }

  void collect(std::vector<LayoutPoint>& locations) const {
    locations.push_back({m_x, m_y});
    for (const auto& child : m_children) child->collect(locations);
  }

  TidyReference* m_parent;
  std::size_t m_index;
  double m_separation;
  std::vector<std::unique_ptr<TidyReference>> m_children;
  double m_x = 0;
  double m_y = 0;
  double m_mod = 0;
};

/// The locations that a layout gave the visible nodes of a tree, in pre-order.
template <class T>
std::vector<LayoutPoint> locationsIn(LayoutTree<T>& tree) {
  std::vector<LayoutPoint> locations;
  tree.search([&locations](LayoutTree<T>& node) {
    locations.push_back(node.location());
    return false;
  });
  return locations;
}

}  // namespace corvane::testing
