#include "corvane/system/PowerAssertion.h"

#include <gmock/gmock.h>

#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"

namespace corvane {
namespace {

using namespace testing;
using Request = FakePowerManager::Request;

constexpr const char* SYSTEM = "PreventUserIdleSystemSleep";
constexpr const char* DISPLAY = "PreventUserIdleDisplaySleep";

struct PowerAssertionTest : Test {
  FakePlatform fake;
  FakePowerManager& manager = *fake.powerManager;
  std::shared_ptr<PowerAssertion> power = PowerAssertion::instance();
};

TEST_F(PowerAssertionTest, HoldsOneAssertionOfEachType) {
  power->allow(SYSTEM);
  power->setReason("first");
  EXPECT_EQ(power->prevent(SYSTEM), 0);
  power->setReason("second");
  EXPECT_EQ(power->prevent(SYSTEM) + power->prevent(DISPLAY), 0);
  EXPECT_THAT(manager.held, ElementsAre(Pair(1, Request{SYSTEM, 0, "first"}), Pair(2, Request{SYSTEM, 0, "second"}),
                                        Pair(3, Request{DISPLAY, 0, "second"})));
  for (const char* type : {"NetworkClientActive", SYSTEM, SYSTEM}) power->allow(type);
  EXPECT_TRUE(power->hasAssertions());
  EXPECT_THAT(manager.released, ElementsAre(2)) << "the overwritten one stays";
  EXPECT_EQ(power->prevent(SYSTEM), 0);
  for (int i = 0; i < 2; ++i) power->allowAll();
  EXPECT_FALSE(power->hasAssertions());
  EXPECT_THAT(manager.released, UnorderedElementsAre(2, 3, 4));
  manager.refusal = Error{"posix", EACCES, "no"};
  EXPECT_THAT(standardErrorOf([&] { EXPECT_EQ(power->prevent(SYSTEM), EACCES); }), EndsWith(".prevent: no\n"));
  EXPECT_FALSE(power->hasAssertions());
}

TEST_F(PowerAssertionTest, WhatItHoldsOutlivesTheInstance) {
  power->setIsNapAllowed(true);
  for (const char* reason : {"before", "after"}) {
    power->setReason(reason);
    power->setIsNapAllowed(false);
    EXPECT_FALSE(power->isNapAllowed());
  }
  EXPECT_THAT(manager.activities, ElementsAre(Pair(1, Request{"", 0xEFFFFF, "before"})));
  power->setIsNapAllowed(true);
  EXPECT_TRUE(power->isNapAllowed() && manager.activities.empty());
  power->setIsNapAllowed(false);
  EXPECT_EQ(power->prevent(SYSTEM), 0);
  PowerAssertion::setInstance(std::make_shared<PowerAssertion>());
  EXPECT_NE(std::exchange(power, nullptr), PowerAssertion::instance());
  EXPECT_THAT(manager.released, IsEmpty());
  EXPECT_THAT(manager.activities, SizeIs(1));
}

TEST_F(PowerAssertionTest, ListsTheWantedTypesByProcess) {
  manager.records = {{7, "editor", "film", "BackgroundTask"}, {7, "editor", "film", ""}};
  EXPECT_EQ(PowerAssertion::pidassertions(), std::nullopt);
  EXPECT_EQ(PowerAssertion::assertions(), std::nullopt);
  for (const auto type : PowerAssertion::TYPES) manager.records.push_back({8, {}, {}, std::string(type)});
  manager.records.push_back({-1, "player", "", SYSTEM});
  std::vector<AssertionRecord> visited;
  PowerAssertion::iterateassertions([&](auto... record) { visited.push_back({record...}); });
  EXPECT_EQ(visited, std::vector(manager.records.begin() + 2, manager.records.end()));
  EXPECT_THAT(*PowerAssertion::pidassertions(), ElementsAre(Pair(-1, ElementsAre(SYSTEM)), Pair(8, SizeIs(6))));
  EXPECT_THAT(*PowerAssertion::assertions(), ElementsAre(Pair(-1, true), Pair(8, true)));
  manager.failure = Error{"posix", ENOTSUP, "nobody"};
  EXPECT_THAT(standardErrorOf([] { EXPECT_EQ(PowerAssertion::assertions(), std::nullopt); }),
              EndsWith(".iterateassertions: nobody\n"));
}

}  // namespace
}  // namespace corvane
