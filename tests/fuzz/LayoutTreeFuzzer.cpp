#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "corvane/algorithms/LayoutTree.h"
#include "tests/support/TidyReference.h"

namespace {

using Tree = corvane::LayoutTree<std::uint8_t>;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

// The bytes as numbers; zeros behind the end.
class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t size) : m_bytes(bytes, size) {}
  bool empty() const { return m_bytes.empty(); }
  std::uint8_t next() {
    if (empty()) return 0;
    const std::uint8_t byte = m_bytes.front();
    m_bytes = m_bytes.subspan(1);
    return byte;
  }

 private:
  std::span<const std::uint8_t> m_bytes;
};

void checkSiblings(Tree& tree) {
  tree.traverse([](Tree& node) {
    std::shared_ptr<Tree> before;
    for (const auto& child : node.children()) {
      require(child->parent().get() == &node, "a child has another parent");
      require(child->previousSibling() == before, "the sibling before is wrong");
      require(!before || before->nextSibling() == child, "the sibling behind is wrong");
      require(child->leftMostSibling() == node.leftMostChild(), "the first sibling is wrong");
      require(child->isLeftMost() == !before, "the first one is wrong");
      before = child;
    }
    require(before == node.rightMostChild() && (!before || before->isRightMost()), "the last one is wrong");
  });
}

void checkLayout(Tree& tree) {
  tree.calculateNodePositions();
  const auto expected = corvane::testing::TidyReference::locationsOf(tree);
  const auto actual = corvane::testing::locationsIn(tree);
  require(actual.size() == expected.size(), "the number of nodes is wrong");
  const corvane::LayoutBox box = tree.boundingBox();
  for (std::size_t i = 0; i < actual.size(); ++i) {
    require(std::abs(actual[i].x - expected[i].x) <= 1e-9 && actual[i].y == expected[i].y, "a location is wrong");
    require(actual[i].x >= box.left && actual[i].x <= box.right && actual[i].y <= box.bottom, "the box is wrong");
  }
  require(box.left >= 0 && box.top == 0, "the tree leaves the screen");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::size_t MOST_NODES = 500;  // the reference recurses, and is quadratic
  Input input(bytes, size);
  std::vector<std::shared_ptr<Tree>> nodes = {std::make_shared<Tree>(0)};
  std::shared_ptr<Tree> root = nodes[0];
  const auto any = [&]() -> Tree& { return *nodes[input.next() * nodes.size() / 256]; };
  while (!input.empty()) {
    switch (const std::uint8_t operation = input.next(); operation % 8) {
      case 0:
      case 1:
      case 2: {
        if (nodes.size() == MOST_NODES) break;
        const auto child = std::make_shared<Tree>(operation);
        (operation % 8 == 0 ? *nodes.back() : any()).addChildNode(child);
        nodes.push_back(child);
        break;
      }
      case 3: {
        Tree& node = any();
        node.setChildrenHidden(!node.childrenHidden());
        break;
      }
      case 4:
        any().setNodeSeparation((input.next() - 16) / 4.0);
        break;
      case 5:
        // Most of these are no orders.
        any().sortChildNodes([operation](const Tree& a, const Tree& b) { return (*a.data() ^ operation) < *b.data(); });
        break;
      case 6:
        if (operation & 64)
          root->autoHideNodes([&](Tree& node) { node.setChildrenHidden(node.childCount() > operation / 8 % 8); });
        else
          checkSiblings(any());
        break;
      default:
        checkLayout(operation & 128 ? any() : *root);
    }
  }
  checkSiblings(*root);
  checkLayout(*root);
  // What somebody still holds outlives the rest, with what is below it.
  const std::shared_ptr<Tree> kept = nodes[size % nodes.size()];
  nodes.clear();
  root.reset();
  checkLayout(*kept);
  return 0;
}
