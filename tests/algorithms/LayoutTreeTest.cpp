#include "corvane/algorithms/LayoutTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TidyReference.h"
#include "tests/support/TreeShapes.h"

namespace corvane {

void PrintTo(const LayoutPoint& point, std::ostream* out) {
  *out << '(' << point.x << ", " << point.y << ')';
}

namespace {

using corvane::testing::locationsIn;
using corvane::testing::makeTree;
using corvane::testing::TidyReference;
using corvane::testing::TREE_SHAPES;
using corvane::testing::treeShape;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Tree = LayoutTree<std::string>;
using Numbers = LayoutTree<int>;

std::shared_ptr<Tree> tree(const std::string& name, const std::vector<std::shared_ptr<Tree>>& children = {}) {
  auto node = std::make_shared<Tree>(name);
  for (const auto& child : children) node->addChildNode(child);
  return node;
}

std::string nameOf(const std::shared_ptr<Tree>& node) {
  return node ? *node->data() : "none";
}

std::vector<std::string> namesOf(const Tree::Nodes& nodes) {
  std::vector<std::string> names;
  for (const auto& node : nodes) names.push_back(nameOf(node));
  return names;
}

// What the sibling operations report about a node.
std::string siblingsOf(const Tree& node) {
  return nameOf(node.previousSibling()) + " " + nameOf(node.nextSibling()) + " " + nameOf(node.leftMostSibling()) +
         (node.isLeftMost() ? " left" : "") + (node.isRightMost() ? " right" : "");
}

TEST(LayoutTree, HiddenChildrenAreNotShown) {
  const auto root = tree("root", {tree("a"), tree("b")});
  EXPECT_FALSE(root->isLeaf());
  root->setChildrenHidden(true);
  EXPECT_EQ(root->childCount(), 2);
  EXPECT_THAT(namesOf(root->allChildNodes()), ElementsAre("a", "b"));
  EXPECT_THAT(root->children(), IsEmpty());
  EXPECT_TRUE(root->isLeaf());
  EXPECT_EQ(root->leftMostChild(), nullptr);
  EXPECT_EQ(root->rightMostChild(), nullptr);
}

// Places among siblings are remembered; whatever makes them wrong must be noticed.
TEST(LayoutTree, SiblingsAreFoundHoweverTheyWereAdded) {
  const auto a = tree("a"), b = tree("b"), c = tree("c"), d = tree("d");
  const auto first = tree("first", {a, b, a, c});
  EXPECT_EQ(siblingsOf(*a), "none b a left") << "the first of two places";
  EXPECT_EQ(siblingsOf(*c), "a none a right");

  const auto second = tree("second", {d, c, b});
  EXPECT_EQ(siblingsOf(*c), "d b d") << "the list of the new parent";
  first->addChildNode(c);
  first->addChildNode(b);
  EXPECT_THAT(namesOf(first->children()), ElementsAre("a", "b", "a", "c", "c", "b"));
  EXPECT_EQ(siblingsOf(*b), "a none a right") << "added again after another parent";
  EXPECT_EQ(siblingsOf(*c), "a c a");

  c->setParent(second);
  EXPECT_EQ(siblingsOf(*c), "d b d");
  d->setParent(first);
  EXPECT_EQ(siblingsOf(*d), "none none a") << "not among the parent's children";
  first->addChildNode(d);
  EXPECT_EQ(siblingsOf(*d), "b none a right");
  d->setParent(nullptr);
  EXPECT_EQ(siblingsOf(*d), "none none none left right");

  const auto early = tree("early");
  early->setParent(first);
  EXPECT_EQ(siblingsOf(*early), "none none a");
  first->addChildNode(early);
  EXPECT_EQ(siblingsOf(*early), "d none a right");
  first->sortChildNodes([](const Tree& x, const Tree& y) { return *x.data() > *y.data(); });
  EXPECT_EQ(siblingsOf(*early), "none d early left");
}

TEST(LayoutTree, AChildOutlivesItsParentAsARoot) {
  const auto leaf = tree("leaf");
  auto root = tree("root", {tree("other"), tree("middle", {leaf})});
  EXPECT_EQ(nameOf(leaf->parent()), "middle");
  const auto middle = leaf->parent();
  root.reset();
  EXPECT_EQ(siblingsOf(*middle), "none none none left right");
  EXPECT_TRUE(middle->isRoot());
  EXPECT_EQ(leaf->parent(), middle) << "and keeps its own children";
  const auto next = tree("next", {tree("x"), middle});
  EXPECT_EQ(siblingsOf(*middle), "x none x right");
}

TEST(LayoutTree, WalksKeepTheirOrder) {
  const auto root = tree("root", {tree("a", {tree("a1")}), tree("b", {tree("b1"), tree("b2")})});
  std::string met;
  const auto meet = [&met](Tree& node) { met += *node.data() + " "; };
  const auto walked = [&](auto operation) {
    met.clear();
    operation();
    return met;
  };
  EXPECT_EQ(walked([&] { root->traverse(meet); }), "a1 a b1 b2 b root ");
  const auto searching = [&](const std::string& name, bool found) {
    return walked([&] { EXPECT_EQ(root->search([&](Tree& node) { return meet(node), node.data() == name; }), found); });
  };
  EXPECT_EQ(searching("b", true), "root a a1 b ");
  EXPECT_EQ(searching("z", false), "root a a1 b b1 b2 ");

  root->rightMostChild()->setChildrenHidden(true);
  EXPECT_EQ(walked([&] { root->traverse(meet); }), "a1 a b root ");
  EXPECT_EQ(searching("b2", false), "root a a1 b ");
  EXPECT_EQ(walked([&] { root->autoHideNodes(meet); }), "a1 a b1 b2 b root ");

  // A node decides after those below it.
  root->autoHideNodes([](Tree& node) { node.setChildrenHidden(node.childCount() == 1); });
  EXPECT_EQ(walked([&] { root->traverse(meet); }), "a b1 b2 b root ");

  // A walk continues with the list that it started on.
  EXPECT_EQ(walked([&] {
              root->traverse([&](Tree& node) {
                meet(node);
                if (node.data() != "a") return;
                root->setChildrenHidden(true);
                for (int i = 0; i < 100; ++i) root->addChildNode(tree("new"));
              });
            }),
            "a b1 b2 b root ");
  EXPECT_THROW(root->traverse([](Tree&) { throw std::runtime_error("enough"); }), std::runtime_error);
}

TEST(LayoutTree, SortingReachesHiddenNodesAndLosesNone) {
  const auto root = tree("r", {tree("b", {tree("2"), tree("3"), tree("1")}), tree("a")});
  const auto b = root->leftMostChild();
  b->setChildrenHidden(true);
  const auto byName = [](const Tree& x, const Tree& y) { return *x.data() < *y.data(); };
  root->sortChildNodes(byName);
  EXPECT_THAT(namesOf(root->children()), ElementsAre("a", "b"));
  EXPECT_THAT(namesOf(b->allChildNodes()), ElementsAre("1", "2", "3"));

  EXPECT_THROW(b->sortChildNodes([](const Tree&, const Tree&) -> bool { throw std::runtime_error("no order"); }),
               std::runtime_error);
  EXPECT_THAT(namesOf(b->allChildNodes()), ElementsAre("1", "2", "3"));

  // A comparison that contradicts itself gives some order.
  for (int i = 0; i < 1000; ++i) b->addChildNode(tree(std::to_string(i)));
  b->sortChildNodes([](const Tree&, const Tree&) { return true; });
  const Tree::Nodes& nodes = b->allChildNodes();
  EXPECT_EQ(std::set<std::shared_ptr<Tree>>(nodes.begin(), nodes.end()).size(), 1003U);
}

TEST(LayoutTree, OverriddenOperationsAreUsed) {
  struct Wide : Numbers {
    using Numbers::Numbers;
    double nodeSeparation() const override { return 3; }
    const Nodes& children() const override { return shown; }
    Nodes shown;
  };
  const auto root = std::make_shared<Wide>(0);
  for (int i = 1; i <= 4; ++i) root->addChildNode(std::make_shared<Wide>(i));
  root->shown = {root->allChildNodes()[1], root->allChildNodes()[3]};
  root->calculateNodePositions();
  EXPECT_THAT(locationsIn(*root), ElementsAre(LayoutPoint{1.5, 0}, LayoutPoint{0, 1}, LayoutPoint{3, 1}));
}

TEST(LayoutTreeDeath, BrokenPreconditionsAreFatal) {
  const auto child = tree("child");
  const auto root = tree("root", {child, tree("other")});
  EXPECT_DEATH(root->addChildNode(nullptr), "fatal: LayoutTree::addChildNode: the child is null");
  Tree loose("loose");
  EXPECT_DEATH(loose.addChildNode(child), "fatal: LayoutTree::addChildNode: no shared_ptr holds the parent");

  root->setChildrenHidden(true);
  const std::string shown = "fatal: LayoutTree: the siblings of a node whose parent shows no children";
  EXPECT_DEATH(child->isRightMost(), shown);
  EXPECT_DEATH(child->nextSibling(), shown);
  root->setChildrenHidden(false);

  // A cycle of any length.
  const auto below = tree("below");
  child->addChildNode(below);
  for (const auto& last : {child, below}) {
    const auto close = [&] {
      last->addChildNode(child);
      root->traverse([](Tree&) {});
    };
    EXPECT_DEATH(close(), "fatal: LayoutTree: a node is below itself");
  }
}

// Layout

struct Example {
  const char* name;
  std::shared_ptr<Tree> root;
  std::vector<LayoutPoint> expected;  // in pre-order
};

TEST(TidyLayout, ExamplesByHand) {
  const auto hidden = tree("r", {tree("a"), tree("b")});
  hidden->setChildrenHidden(true);
  const auto apart = tree("b", {tree("b1")});
  apart->setNodeSeparation(2.5);
  const Example examples[] = {
      {"three leaves", tree("r", {tree("a"), tree("b"), tree("c")}), {{1, 0}, {0, 1}, {1, 1}, {2, 1}}},
      {"hidden children", hidden, {{0, 0}}},
      {"a separation holds on every level",
       tree("r", {tree("a", {tree("a1"), tree("a2"), tree("a3")}), apart}),
       {{2.75, 0}, {1, 1}, {0, 2}, {1, 2}, {2, 2}, {4.5, 1}, {4.5, 2}}},
      {"a wide subtree beside a leaf",
       tree("r", {tree("a"), tree("b", {tree("0"), tree("1"), tree("2"), tree("3"), tree("4")})}),
       {{1.5, 0}, {1, 1}, {2, 1}, {0, 2}, {1, 2}, {2, 2}, {3, 2}, {4, 2}}},
      {"siblings between are not spread",
       tree("r", {tree("a", {tree("a1"), tree("a2"), tree("a3")}), tree("b"), tree("c", {tree("c1"), tree("c2")})}),
       {{2.25, 0}, {1, 1}, {0, 2}, {1, 2}, {2, 2}, {2, 1}, {3.5, 1}, {3, 2}, {4, 2}}},
  };
  for (const Example& example : examples) {
    for (int run = 0; run < 2; ++run) {  // a second layout starts afresh
      example.root->calculateNodePositions();
      EXPECT_EQ(locationsIn(*example.root), example.expected) << example.name;
    }
  }
}

TEST(TidyLayout, HiddenNodesKeepTheirPlaces) {
  const auto a = tree("a", {tree("a1"), tree("a2")});
  const auto root = tree("root", {tree("b"), a, tree("c"), tree("d"), tree("e"), tree("f")});
  a->calculateNodePositions();
  const auto hidden = a->rightMostChild();
  a->setChildrenHidden(true);
  root->calculateNodePositions();
  EXPECT_EQ(hidden->location(), (LayoutPoint{1, 1})) << "as when its parent was laid out as a root";
  EXPECT_EQ(a->location(), (LayoutPoint{1, 1}));
  const LayoutBox box = root->boundingBox();
  EXPECT_THAT((std::vector{box.left, box.top, box.right, box.bottom}), ElementsAre(0, 0, 5, 1));
  EXPECT_EQ(a->boundingBox().width(), 0);
}

class RandomTrees {
 public:
  explicit RandomTrees(unsigned seed) : m_random(seed) {}

  // Of up to `most` nodes; its separations are multiples of 1/2, or any.
  std::shared_ptr<Numbers> make(int most, bool halves) {
    std::vector<std::shared_ptr<Numbers>> nodes = {std::make_shared<Numbers>(0)};
    const int count = upTo(most), shape = upTo(4), hidden = upTo(3) == 0 ? 8 : 0;
    const bool same = upTo(2) == 0;
    for (int i = 1; i <= count; ++i) {
      const int reach = shape == 0   ? i               // any node
                        : shape == 1 ? std::min(i, 3)  // the latest: deep
                        : shape == 2 ? std::min(i, 12)
                        : shape == 3 ? (i + 3) / 4       // the first: wide
                                     : (i % 3 ? 1 : i);  // chains
      auto child = std::make_shared<Numbers>(i);
      const int parent = shape == 3 ? upTo(reach - 1) : i - 1 - upTo(reach - 1);
      nodes[static_cast<std::size_t>(parent)]->addChildNode(child);
      if (!same)
        child->setNodeSeparation(halves ? upTo(9) * 0.5 - 0.5 : std::uniform_real_distribution(-0.5, 4.0)(m_random));
      child->setChildrenHidden(hidden > 0 && upTo(hidden) == 0);
      nodes.push_back(std::move(child));
    }
    return nodes[0];
  }

 private:
  int upTo(int last) { return std::uniform_int_distribution(0, last)(m_random); }

  std::mt19937 m_random;
};

// The sibling operations agree with the lists of children.
void expectSiblings(Numbers& tree) {
  tree.traverse([](Numbers& node) {
    std::shared_ptr<Numbers> before;
    for (const auto& child : node.children()) {
      EXPECT_EQ(child->parent().get(), &node);
      EXPECT_EQ(child->previousSibling(), before);
      EXPECT_TRUE(!before || before->nextSibling() == child);
      EXPECT_EQ(child->leftMostSibling(), node.leftMostChild());
      before = child;
    }
    EXPECT_EQ(before, node.rightMostChild());
  });
}

TEST(TidyLayout, EveryRandomTreeIsLaidOutAsDefined) {
  RandomTrees trees(20240229);
  for (int i = 0; i < 10'000; ++i) {
    const bool halves = i % 4 != 0;
    const auto root = trees.make(i % 20 == 0 ? 600 : i % 5 == 0 ? 120 : 25, halves);
    if (i % 3 == 0)
      root->sortChildNodes([i](const Numbers& a, const Numbers& b) { return (*a.data() ^ i) < (*b.data() ^ i); });
    if (i % 10 == 0) expectSiblings(*root);
    root->calculateNodePositions();
    const auto expected = TidyReference::locationsOf(*root), actual = locationsIn(*root);
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t n = 0; n < actual.size(); ++n) {
      if (halves) {
        ASSERT_EQ(actual[n], expected[n]) << "tree " << i << ", node " << n;
      } else {
        ASSERT_NEAR(actual[n].x, expected[n].x, 1e-9) << "tree " << i << ", node " << n;
        ASSERT_EQ(actual[n].y, expected[n].y);
      }
    }
  }
}

// What recurses in the depth ends with the stack; what is quadratic meets the time limit of the test.
class LayoutTreeShapes : public ::testing::TestWithParam<std::string> {};

TEST_P(LayoutTreeShapes, AMillionNodes) {
  const std::size_t count = 1'000'000;
  auto root = makeTree(treeShape(GetParam(), count));
  root->calculateNodePositions();
  EXPECT_GE(root->boundingBox().width(), 0);
  std::size_t met = 0;
  root->traverse([&met](Numbers&) { ++met; });
  EXPECT_EQ(met, count);
  root->autoHideNodes([&met](Numbers&) { --met; });
  EXPECT_EQ(met, 0U);
  EXPECT_TRUE(root->search([&](Numbers& node) { return node.data() == static_cast<int>(count) - 1; }));
  EXPECT_FALSE(root->search([](Numbers&) { return false; }));
  root->sortChildNodes([](const Numbers& a, const Numbers& b) { return *a.data() > *b.data(); });

  // Along the longest list of siblings.
  std::shared_ptr<Numbers> node = root->leftMostChild();
  for (met = 0; node; ++met) {
    const auto next = node->nextSibling();
    ASSERT_TRUE(!next || next->previousSibling() == node);
    node = next;
  }
  EXPECT_EQ(met, static_cast<std::size_t>(root->childCount()));

  // Parts that are held elsewhere outlive the rest.
  std::weak_ptr<Numbers> gone = root->leftMostChild();
  const std::shared_ptr<Numbers> kept = root->rightMostChild();
  root.reset();
  EXPECT_EQ(gone.expired(), gone.lock() != kept);
  EXPECT_TRUE(kept->isRoot());
}

INSTANTIATE_TEST_SUITE_P(Shapes, LayoutTreeShapes, ::testing::ValuesIn(TREE_SHAPES),
                         [](const auto& shape) { return shape.param; });

}  // namespace
}  // namespace corvane
