#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <ranges>
#include <utility>
#include <vector>

#include "corvane/algorithms/TidyLayout.h"
#include "corvane/core/fatal.h"

namespace corvane {

/// A place in the layout: x to the right in the unit of the separations, y down, one unit per level.
struct LayoutPoint {
  double x = 0;  ///< to the right
  double y = 0;  ///< down: the level, 0 for the root
  bool operator==(const LayoutPoint&) const = default;
};

/// The area of a laid-out tree, between the outermost node locations in each direction. The sizes of the nodes
/// themselves are not included.
struct LayoutBox {
  double left = 0;    ///< least x
  double top = 0;     ///< least y
  double right = 0;   ///< greatest x
  double bottom = 0;  ///< greatest y
  /// The extent, 0 for a single node.
  double width() const { return right - left; }
  double height() const { return bottom - top; }
};

/// A tree that computes where to draw its nodes: parents above their children, siblings and neighbouring subtrees
/// apart, and nothing to the left of x = 0. Each node carries a value of the application.
///
///     const auto root = std::make_shared<corvane::LayoutTree<std::string>>("root");
///     for (const char* name : {"left", "middle", "right"})
///       root->addChildNode(std::make_shared<corvane::LayoutTree<std::string>>(name));
///     root->calculateNodePositions();
///     root->traverse([](auto& node) { draw(*node.data(), node.location()); });  // root at (1, 0), left at (0, 1), ...
///
/// **Ownership.** Nodes are held by std::shared_ptr. Holding the root holds the tree; a child refers to its parent
/// weakly, and becomes a root when the parent is destroyed. When a whole tree is destroyed, each node has lost its
/// children before its destructor runs.
///
/// **Two views of the children.** allChildNodes() returns all children; children() returns the visible ones: none while
/// childrenHidden(), otherwise all. Navigation, walks, search, layout and the box use the visible ones; sorting and
/// autoHideNodes() use all.
///
/// **Shape.** addChildNode() does not check for a node that is added twice or already has a parent; such a node is
/// visited as often as it is listed, and its siblings are those in the list of its parent(). A node below itself is
/// fatal in every walk. Trees may be of any depth: nothing recurses.
///
/// **Callables** may change nodes, and hide and show children; a walk continues with the lists that it has begun.
///
/// **Fatal**, in addition: the sibling operations (isLeftMost() to leftMostSibling()) on a node whose parent's children
/// are hidden, and a null child.
///
/// No lock: use a tree from one thread at a time. A derived class may override every virtual operation.
template <class T>
class LayoutTree : public std::enable_shared_from_this<LayoutTree<T>> {
 public:
  using Pointer = std::shared_ptr<LayoutTree>;  ///< how nodes are held
  using Nodes = std::vector<Pointer>;           ///< the children of a node, from left to right

  /// A root without children, at (0, 0).
  explicit LayoutTree(std::optional<T> data) : m_data(std::move(data)) {}
  virtual ~LayoutTree() { destroyChildren(); }

  LayoutTree(const LayoutTree&) = delete;
  LayoutTree& operator=(const LayoutTree&) = delete;

  /// The value given to the constructor.
  const std::optional<T>& data() const { return m_data; }

  /// Where the last layout put the node; (0, 0) before the first. A node that was hidden then keeps its place.
  virtual LayoutPoint location() const { return m_locn; }

  /// Whether there are no visible children.
  virtual bool isLeaf() const { return children().empty(); }
  /// Whether the node has no parent, or its parent has been destroyed.
  virtual bool isRoot() const { return m_parentnode.expired(); }
  /// The number of all children.
  virtual std::int64_t childCount() const { return static_cast<std::int64_t>(m_childnodes.size()); }
  /// All children, hidden or not.
  virtual const Nodes& allChildNodes() const { return m_childnodes; }

  /// Whether the children are left out of the layout, as if there were none.
  virtual bool childrenHidden() const { return m_hide_children; }
  virtual void setChildrenHidden(bool hidden) { m_hide_children = hidden; }

  /// The distance that the node and its subtree keep from the siblings on its left and their subtrees, on each level
  /// that both have. Initially 1. A finite number; with a negative one they may overlap.
  virtual double nodeSeparation() const { return m_nodeSeparation; }
  virtual void setNodeSeparation(double separation) { m_nodeSeparation = separation; }

  /// Null for a root.
  virtual Pointer parent() const { return m_parentnode.lock(); }
  /// Changes this node's parent(), but no list of children.
  virtual void setParent(const Pointer& parent) {
    m_parentnode = parent;
    if (m_index != NOT_LISTED) m_index = UNKNOWN;
  }

  /// The visible children.
  virtual const Nodes& children() const {
    static const Nodes NO_NODES;
    return m_hide_children ? NO_NODES : m_childnodes;
  }

  /// Whether the node is the first of its parent's visible children, or a root.
  virtual bool isLeftMost() const {
    const Pointer parent = m_parentnode.lock();
    return !parent || parent->shownChildren().front().get() == this;
  }
  /// Whether it is the last of them, or a root.
  virtual bool isRightMost() const {
    const Pointer parent = m_parentnode.lock();
    return !parent || parent->shownChildren().back().get() == this;
  }

  /// The neighbours among the parent's visible children. Null for a root, and where there is none. Constant time.
  virtual Pointer previousSibling() const {
    if (isRoot() || isLeftMost()) return nullptr;
    const Pointer parent = m_parentnode.lock();
    const auto index = parent->childIndex(*this);
    return index && *index > 0 ? parent->children()[*index - 1] : nullptr;
  }
  virtual Pointer nextSibling() const {
    if (isRoot() || isRightMost()) return nullptr;
    const Pointer parent = m_parentnode.lock();
    const auto index = parent->childIndex(*this);
    return index && *index + 1 < parent->children().size() ? parent->children()[*index + 1] : nullptr;
  }
  /// The first of them, which may be the node itself.
  virtual Pointer leftMostSibling() const {
    const Pointer parent = m_parentnode.lock();
    return parent ? parent->shownChildren().front() : nullptr;
  }

  /// The first and the last visible child; null if there is none.
  virtual Pointer leftMostChild() const { return children().empty() ? nullptr : children().front(); }
  virtual Pointer rightMostChild() const { return children().empty() ? nullptr : children().back(); }

  /// Adds a child after the others and becomes its parent. A previous parent keeps it in its list.
  virtual void addChildNode(const Pointer& child) {
    const std::weak_ptr<LayoutTree> self = this->weak_from_this();
    if (!child) fatal("LayoutTree::addChildNode: the child is null");
    if (self.expired()) fatal("LayoutTree::addChildNode: no shared_ptr holds the parent");
    if (m_childnodes.size() >= UNKNOWN) fatal("LayoutTree::addChildNode: too many children");
    m_childnodes.push_back(child);
    if (child->m_index == NOT_LISTED)
      child->m_index = static_cast<std::uint32_t>(m_childnodes.size() - 1);
    else if (!child->isChildOf(self))
      child->m_index = UNKNOWN;  // it may already be in this list
    child->m_parentnode = self;
  }

  /// Sorts the children of every node of the tree, hidden ones included, starting with the lowest nodes. `isBefore(a,
  /// b)` tells whether a comes before b. Equal nodes keep their order. If it throws, the list that it was called for
  /// stays as it was.
  virtual void sortChildNodes(const std::function<bool(const LayoutTree& a, const LayoutTree& b)>& isBefore) {
    walk(*this, all, goOn, [&isBefore](LayoutTree& node) {
      Nodes sorted = node.m_childnodes;
      std::stable_sort(sorted.begin(), sorted.end(),
                       [&isBefore](const Pointer& a, const Pointer& b) { return isBefore(*a, *b); });
      node.m_childnodes = std::move(sorted);
      node.recordIndexes();
    });
  }

  /// Calls `condition` for every node of the tree, hidden ones included, after the nodes below it. It may call
  /// setChildrenHidden().
  virtual void autoHideNodes(const std::function<void(LayoutTree&)>& condition) { walk(*this, all, goOn, condition); }

  /// Calls `action` for every visible node, after the nodes below it.
  virtual void traverse(const std::function<void(LayoutTree&)>& action) { walk(*this, visible, goOn, action); }

  /// Calls `until` for the visible nodes, each before the nodes below it, until it returns true. Returns whether it
  /// did.
  virtual bool search(const std::function<bool(LayoutTree&)>& until) {
    return walk(
        *this, visible, [&until](LayoutTree& node, std::size_t) { return until(node); }, nothing);
  }

  /// Gives every visible node its location, with this node as the root, in linear time. The result depends only on
  /// shape, order and separations, not on earlier layouts. docs/layout.md has the mathematics.
  virtual void calculateNodePositions() {
    const std::vector<Visible> nodes = initialiseNodes();
    TidyLayout layout(nodes.size());
    for (const Visible& visible : nodes) layout.add(visible.depth, visible.separation);
    layout.calculateInitialX();
    layout.checkAllChildrenOnScreen();
    layout.calculateFinalPositions();
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      if (i + AHEAD < nodes.size()) __builtin_prefetch(&nodes[i + AHEAD].node->m_locn, 1);
      nodes[i].node->m_locn = {layout.x(i), static_cast<double>(nodes[i].depth)};
    }
  }

  /// The area of the locations of this node and the visible nodes below it.
  LayoutBox boundingBox() const {
    LayoutBox box{m_locn.x, m_locn.y, m_locn.x, m_locn.y};
    const auto include = [&box](const LayoutTree& node) {
      box.left = std::min(box.left, node.m_locn.x);
      box.top = std::min(box.top, node.m_locn.y);
      box.right = std::max(box.right, node.m_locn.x);
      box.bottom = std::max(box.bottom, node.m_locn.y);
    };
    walk(*this, visible, goOn, include);
    return box;
  }

 private:
  // Values of m_index other than the index among the children of m_parentnode.
  static constexpr std::uint32_t NOT_LISTED = std::numeric_limits<std::uint32_t>::max();  // was never added anywhere
  static constexpr std::uint32_t UNKNOWN = NOT_LISTED - 1;

  // Nodes may be anywhere in memory: prefetching this many of them halves the time of a pass.
  static constexpr std::size_t AHEAD = 6;

  // Arguments for walk().
  static const Nodes& all(const LayoutTree& node) { return node.m_childnodes; }
  static const Nodes& visible(const LayoutTree& node) { return node.children(); }
  static bool goOn(const LayoutTree&, std::size_t) { return false; }
  static void nothing(const LayoutTree&) {}

  // Goes through the tree from left to right: enter(node, depth) before the nodes below a node, leave(node) after them.
  // Ends when an enter() returns true; returns whether one did.
  template <class Node, class ChildrenOf, class Enter, class Leave>
  static bool walk(Node& root, ChildrenOf childrenOf, const Enter& enter, const Leave& leave) {
    struct Level {
      Node* node;
      const Nodes* children;
      std::size_t count;  // when the walk reached the node
      std::size_t next;
    };
    const auto announce = [](const Level& level, std::size_t child) {
      if (child >= level.count) return;
      const Node* node = (*level.children)[child].get();
      __builtin_prefetch(node);
      __builtin_prefetch(&node->m_hide_children);
    };
    std::vector<Level> path;
    for (Node* node = &root;;) {
      if (enter(*node, path.size())) return true;
      // A path with a cycle soon comes to the node at the last power of two of its length again.
      if (!path.empty() && path[std::bit_floor(path.size() - 1)].node == node)
        fatal("LayoutTree: a node is below itself");
      const Nodes& children = childrenOf(*node);
      path.push_back({node, &children, children.size(), 0});
      for (std::size_t i = 0; i < AHEAD; ++i) announce(path.back(), i);
      while (path.back().next == path.back().count) {
        leave(*path.back().node);
        path.pop_back();
        if (path.empty()) return false;
      }
      Level& level = path.back();
      node = (*level.children)[level.next++].get();
      announce(level, level.next + AHEAD - 1);
    }
  }

  struct Visible {
    LayoutTree* node;
    std::size_t depth;
    double separation;
  };

  // The visible nodes, in pre-order.
  std::vector<Visible> initialiseNodes() {
    std::vector<Visible> nodes;
    const auto initialise = [&nodes](LayoutTree& node, std::size_t depth) {
      nodes.push_back({&node, depth, node.nodeSeparation()});
      return false;
    };
    walk(*this, visible, initialise, nothing);
    return nodes;
  }

  const Nodes& shownChildren() const {
    const Nodes& nodes = children();
    if (nodes.empty()) fatal("LayoutTree: the siblings of a node whose parent shows no children");
    return nodes;
  }

  bool isChildOf(const std::weak_ptr<LayoutTree>& parent) const {
    return !m_parentnode.owner_before(parent) && !parent.owner_before(m_parentnode);
  }

  // The first index of a child of this node among the visible children.
  std::optional<std::size_t> childIndex(const LayoutTree& child) const {
    const Nodes& nodes = children();
    if (&nodes != &m_childnodes) {  // a derived class has its own list
      const auto found = std::ranges::find(nodes, &child, &Pointer::get);
      return found == nodes.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - nodes.begin()));
    }
    if (child.m_index >= UNKNOWN) recordIndexes();
    return child.m_index >= UNKNOWN ? std::nullopt : std::optional<std::size_t>(child.m_index);
  }

  // A node that is listed twice keeps its first place.
  void recordIndexes() const {
    const std::weak_ptr<const LayoutTree> self = this->weak_from_this();
    for (std::size_t i = m_childnodes.size(); i-- > 0;) {
      LayoutTree& child = *m_childnodes[i];
      if (!child.m_parentnode.owner_before(self) && !self.owner_before(child.m_parentnode))
        child.m_index = static_cast<std::uint32_t>(i);
    }
  }

  // Destroys the nodes below from the lowest up, without recursion or extra memory: on the way down, the last place in
  // each list of children holds the way back.
  void destroyChildren() {
    while (!m_childnodes.empty()) {
      Pointer node = std::move(m_childnodes.back());
      m_childnodes.pop_back();
      Pointer above;
      while (node) {
        if (node.use_count() == 1 && !node->m_childnodes.empty()) {
          Pointer child = std::exchange(node->m_childnodes.back(), std::move(above));
          above = std::exchange(node, std::move(child));
          continue;
        }
        node = std::move(above);
        if (!node) break;
        above = std::move(node->m_childnodes.back());
        node->m_childnodes.pop_back();
      }
    }
  }

  // The members that a walk uses come first, so that they are close together.
  Nodes m_childnodes;
  double m_nodeSeparation = 1;
  std::uint32_t m_index = NOT_LISTED;
  bool m_hide_children = false;
  std::weak_ptr<LayoutTree> m_parentnode;
  LayoutPoint m_locn;
  std::optional<T> m_data;
};

}  // namespace corvane
