#include "corvane/system/PowerAssertion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "corvane/core/Log.h"
#include "corvane/testing/FakePlatform.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* SYSTEM = "PreventUserIdleSystemSleep";
constexpr const char* DISPLAY = "PreventUserIdleDisplaySleep";

std::vector<std::string> s_log;
constexpr LogSink SINK = {[](std::string_view line) { s_log.emplace_back(line); }, [] { return true; }};

struct PowerAssertionTest : testing::Test {
  PowerAssertionTest() { setLogSink(&SINK); }
  ~PowerAssertionTest() override { setLogSink(nullptr); }

  FakePlatform fake;
  FakePowerManager& manager = *fake.powerManager;
};

TEST_F(PowerAssertionTest, HoldsOneAssertionOfEachType) {
  const auto power = std::make_shared<PowerAssertion>();
  EXPECT_EQ(power->reason(), "");
  power->allow(SYSTEM);
  power->allowAll();
  power->setReason("first");
  EXPECT_EQ(power->prevent(SYSTEM), 0);
  power->setReason("second");
  EXPECT_EQ(power->prevent(SYSTEM), 0);
  EXPECT_EQ(power->prevent(DISPLAY), 0);
  EXPECT_THAT(manager.held, ElementsAre(Pair(1, FakePowerManager::Request{SYSTEM, 0, "first"}),
                                        Pair(2, FakePowerManager::Request{SYSTEM, 0, "second"}),
                                        Pair(3, FakePowerManager::Request{DISPLAY, 0, "second"})));
  power->allow("NetworkClientActive");
  power->allow(SYSTEM);
  power->allow(SYSTEM);
  EXPECT_TRUE(power->hasAssertions());
  EXPECT_THAT(manager.released, ElementsAre(2)) << "the overwritten one stays";
  EXPECT_EQ(power->prevent(SYSTEM), 0);
  power->allowAll();
  EXPECT_FALSE(power->hasAssertions());
  EXPECT_THAT(manager.released, testing::UnorderedElementsAre(2, 3, 4));
  manager.refusal = Error{"posix", EACCES, "no"};
  EXPECT_EQ(power->prevent(SYSTEM), EACCES);
  EXPECT_FALSE(power->hasAssertions());
  EXPECT_THAT(s_log, ElementsAre("PowerAssertion.prevent: no"));
}

TEST_F(PowerAssertionTest, AnActivityHasTheReasonOfItsBeginning) {
  PowerAssertion power;
  power.setIsNapAllowed(true);
  power.setReason("before");
  power.setIsNapAllowed(false);
  EXPECT_FALSE(power.isNapAllowed());
  power.setReason("after");
  power.setIsNapAllowed(false);
  EXPECT_THAT(manager.activities, ElementsAre(Pair(1, FakePowerManager::Request{"", 0xEFFFFF, "before"})));
  power.setIsNapAllowed(true);
  EXPECT_TRUE(power.isNapAllowed());
  EXPECT_THAT(manager.activities, IsEmpty());
}

TEST_F(PowerAssertionTest, WhatItHoldsOutlivesTheInstance) {
  auto first = PowerAssertion::instance();
  EXPECT_EQ(PowerAssertion::instance(), first);
  EXPECT_EQ(first->prevent(SYSTEM), 0);
  first->setIsNapAllowed(false);
  const auto second = std::make_shared<PowerAssertion>();
  PowerAssertion::setInstance(second);
  EXPECT_EQ(PowerAssertion::instance(), second);
  first.reset();
  EXPECT_THAT(manager.released, IsEmpty());
  EXPECT_EQ(manager.activities.size(), 1U);
}

TEST_F(PowerAssertionTest, ListsTheWantedTypesByProcess) {
  const auto visited = [] {
    std::vector<AssertionRecord> records;
    PowerAssertion::iterateassertions([&](std::int32_t pid, auto& process, auto& name, auto& type) {
      records.push_back({pid, process, name, type});
    });
    return records;
  };
  manager.records = {{7, "editor", "film", "BackgroundTask"}, {7, "editor", "film", ""}};
  EXPECT_THAT(visited(), IsEmpty());
  EXPECT_EQ(PowerAssertion::pidassertions(), std::nullopt);
  EXPECT_EQ(PowerAssertion::assertions(), std::nullopt);
  for (const std::string_view type : PowerAssertion::TYPES)
    manager.records.push_back({8, std::nullopt, std::nullopt, std::string(type)});
  manager.records.push_back({-1, "player", "", SYSTEM});
  EXPECT_EQ(visited(), std::vector(manager.records.begin() + 2, manager.records.end()));
  EXPECT_THAT(*PowerAssertion::pidassertions(),
              ElementsAre(Pair(-1, ElementsAre(SYSTEM)), Pair(8, testing::SizeIs(6))));
  EXPECT_THAT(*PowerAssertion::assertions(), ElementsAre(Pair(-1, true), Pair(8, true)));
  EXPECT_THAT(s_log, IsEmpty());
  manager.failure = Error{"posix", ENOTSUP, "nobody"};
  EXPECT_EQ(PowerAssertion::assertions(), std::nullopt);
  EXPECT_THAT(s_log, ElementsAre("PowerAssertion.iterateassertions: nobody"));
}

}  // namespace
}  // namespace corvane
