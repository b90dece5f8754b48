#include "corvane/algorithms/LayoutTree.h"

#include <gmock/gmock.h>

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

TEST(TidyLayout, HiddenNodesKeepTheirPlaces) {
  const auto a = tree("a", {tree("a1"), tree("a2")});
  const auto root = tree("root", {tree("b"), a, tree("c"), tree("d"), tree("e"), tree("f")});
  a->calculateNodePositions();
  const auto hidden = a->rightMostChild();
  a->setChildrenHidden(true);
  EXPECT_EQ(a->childCount(), 2);
  EXPECT_THAT(namesOf(a->allChildNodes()), ElementsAre("a1", "a2"));
  EXPECT_TRUE(a->isLeaf() && a->children().empty() && !a->leftMostChild() && !a->rightMostChild());
  root->calculateNodePositions();
  EXPECT_EQ(hidden->location(), (LayoutPoint{1, 1})) << "as when its parent was laid out as a root";
  EXPECT_EQ(a->location(), (LayoutPoint{1, 1}));
  const LayoutBox box = root->boundingBox();
  EXPECT_THAT((std::vector{box.left, box.top, box.right, box.bottom}), ElementsAre(0, 0, 5, 1));
  EXPECT_EQ(a->boundingBox().width(), 0);
}

// A tree of up to `most` nodes below its root; the separations are multiples of 1/2, or any.
std::shared_ptr<Numbers> randomTree(std::mt19937& random, int most, bool halves) {
  const auto upTo = [&random](int last) { return std::uniform_int_distribution(0, last)(random); };
  const auto& shape = TREE_SHAPES[static_cast<std::size_t>(upTo(5))];
  const auto root = makeTree(treeShape(shape, static_cast<std::size_t>(1 + upTo(most)), random()));
  const bool hides = upTo(3) == 0, same = upTo(2) == 0;
  root->autoHideNodes([&](Numbers& node) {
    if (&node == root.get()) return;
    if (!same) node.setNodeSeparation(halves ? upTo(9) * 0.5 - 0.5 : std::uniform_real_distribution(-0.5, 4.0)(random));
    node.setChildrenHidden(hides && upTo(8) == 0);
  });
  return root;
}

TEST(TidyLayout, EveryRandomTreeIsLaidOutAsDefined) {
  std::mt19937 random(20240229);
  for (int i = 0; i < 10'000; ++i) {
    const bool halves = i % 4 != 0;
    const auto root = randomTree(random, i % 20 == 0 ? 600 : i % 5 == 0 ? 120 : 25, halves);
    if (i % 3 == 0)
      root->sortChildNodes([i](const Numbers& a, const Numbers& b) { return (*a.data() ^ i) < (*b.data() ^ i); });
    for (int run = i % 2; run < 2; ++run) root->calculateNodePositions();  // a second layout starts afresh
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

TEST_P(LayoutTreeShapes, ManyNodes) {
  const std::size_t count = MANY_NODES;
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
