#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "corvane/algorithms/LayoutTree.h"

namespace corvane::testing {

/// A tree as the parent of each node; node 0 is the root, and parents come before their children.
using TreeShape = std::vector<std::size_t>;

/// The shapes that layouts are tried on. In a comb every node of a long chain bears a tooth of two nodes on its right,
/// so that the longest subtree stands on the left at every level; an uneven tree is a root with chains of 1 to 19
/// nodes; in a mixed one, which is deep too, every node hangs below one of the eight before it. The seed varies the
/// last three.
inline const std::vector<std::string> TREE_SHAPES = {"wide", "deep", "comb", "random", "uneven", "mixed"};

inline TreeShape treeShape(const std::string& kind, std::size_t count, std::size_t seed = 0) {
  TreeShape parents(count, 0);
  std::mt19937_64 random(count + seed);
  std::size_t chain = 0;  // nodes left in the chain that is being made
  for (std::size_t i = 1; i < count; ++i) {
    if (kind == "deep") parents[i] = i - 1;
    if (kind == "comb") parents[i] = i % 3 == 1 ? i - (i > 3 ? 3 : 1) : i - (i % 3 == 2 ? (i > 3 ? 4 : 2) : 1);
    if (kind == "random") parents[i] = random() % i;
    if (kind == "mixed") parents[i] = i - 1 - std::min<std::size_t>(i - 1, random() % 8);
    if (kind == "uneven") {
      parents[i] = chain == 0 ? 0 : i - 1;
      chain = (chain == 0 ? 1 + random() % 19 : chain) - 1;
    }
  }
  return parents;
}

inline std::shared_ptr<LayoutTree<int>> makeTree(const TreeShape& parents) {
  std::vector<std::shared_ptr<LayoutTree<int>>> nodes;
  nodes.reserve(parents.size());
  for (std::size_t i = 0; i < parents.size(); ++i) {
    nodes.push_back(std::make_shared<LayoutTree<int>>(static_cast<int>(i)));
    if (i > 0) nodes[parents[i]]->addChildNode(nodes[i]);
  }
  return nodes[0];
}

}  // namespace corvane::testing
