#include "corvane/core/SortedChunks.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace corvane {
namespace {

TEST(SortedChunks, MatchesASetOnRandomOperations) {
  std::mt19937 random(3);
  SortedChunks<unsigned long> real;
  std::multiset<unsigned long> expected;
  for (unsigned step = 0; step < 20'000; ++step) {
    // Grows for a while, then shrinks; values come at the end, anywhere, and near the front.
    if (random() % 20 < (step / 4'000 % 2 ? 4 : 12)) {
      const unsigned long value = random() % 3 ? random() % 1'000 : random() % 2 ? 1'000 + step : random() % 20;
      real.insert(value);
      expected.insert(value);
    } else if (!expected.empty()) {
      ASSERT_EQ(real.front(), *expected.begin());
      real.pop();
      expected.erase(expected.begin());
    }
    ASSERT_EQ(real.size(), expected.size());
    const unsigned long value = random() % 1'000;
    const auto above = expected.upper_bound(value);
    const unsigned long* found = real.above(value);
    ASSERT_EQ(found ? *found : ~0UL, above == expected.end() ? ~0UL : *above);
  }
  EXPECT_GT(expected.size(), 500U) << "several chunks";
  std::multiset<unsigned long> visited;
  real.forEach([&](unsigned long value) { visited.insert(visited.end(), value); });
  EXPECT_EQ(visited, expected);
  EXPECT_EQ(real.takeAll(), std::vector(expected.begin(), expected.end()));
  EXPECT_TRUE(real.empty());
}

}  // namespace
}  // namespace corvane
