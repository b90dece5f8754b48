#include "corvane/core/Activity.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "corvane/core/Clock.h"
#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/TimerQueue.h"
#include "corvane/platform/Platform.h"
#include "tests/support/Pump.h"

namespace corvane {
namespace {

using Kind = Activity::Kind;

struct ActivityTest : testing::Test {
  std::vector<ActivitySpan> spans() {
    std::vector<ActivitySpan> spans;
    since = Activity::read(since, spans, lost);
    return spans;
  }

  std::uint64_t since = Activity::position();
  std::uint64_t lost = 0;
};

struct Job {
  void operator()() const {}
};

TEST_F(ActivityTest, EveryKindOfWorkIsNotedWithItsNameWhileItIsWatched) {
  main_post(Job());
  pump();
  Activity::note(Kind::TIMER, 1, 2, "ended too late");
  EXPECT_TRUE(spans().empty()) << "nobody watches";
  const Activity::Watch watch;
  MasterTimer::instance()->start();
  const auto repeater = std::make_shared<Repeater>("test repeater");
  repeater->start(3600, [] { main_post(Job()); });
  const auto queue = std::make_shared<DispatchQueueSerial>("test.queue.with.a.long.label", QoS::DEFAULT);
  const auto timer = std::make_shared<TimerQueue>("test timer", 0.001, nullptr, [queue] { queue->async(Job()); });
  timer->start();
  std::vector<ActivitySpan> all;
  struct Expected {
    Kind kind;
    std::string name, item;
  };
  const std::vector<Expected> expected = {
      {Kind::REPEATER, "test repeater", ""},
      {Kind::MAIN_ITEM, "corvane::(anonymous namespace)::Job", ""},
      {Kind::MAIN_LOOP, "", ""},
      {Kind::QUEUE_ITEM, "test.queue.with.a.long.label", "corvane::(anonymous namespace)::Job"},
      {Kind::TIMER, "test timer", ""},
  };
  const auto find = [&](const Expected& wanted) {
    return std::ranges::find_if(all, [&](const ActivitySpan& span) {
      return span.kind == wanted.kind && span.name == wanted.name && span.item == wanted.item;
    });
  };
  EXPECT_TRUE(pumpUntil([&] {
    std::ranges::move(spans(), std::back_inserter(all));
    return std::ranges::all_of(expected, [&](const Expected& wanted) { return find(wanted) != all.end(); });
  }));
  timer->stop();
  repeater->stop();
  const std::uint32_t main = find(expected[1])->thread;
  for (const Expected& wanted : expected) {
    const auto span = find(wanted);
    ASSERT_NE(span, all.end()) << wanted.name;
    EXPECT_LE(span->start, span->end);
    EXPECT_EQ(span->thread == main, wanted.kind <= Kind::MAIN_LOOP) << wanted.name;
  }
  EXPECT_GT(find(expected[1])->waited, 0);
}

TEST_F(ActivityTest, TheRingKeepsTheLatestSpansAndTellsHowManyAreLost) {
  const Activity::Watch watch;
  const std::string longest(Activity::MAX_NAME, 'x');
  const int type = 0;
  for (std::uint64_t i = 0; i < Activity::CAPACITY + 10; ++i)
    Activity::note(Kind::QUEUE_ITEM, static_cast<std::int64_t>(i), 0, longest + "y", &typeid(type), 7);
  const auto kept = spans();
  ASSERT_EQ(kept.size(), Activity::CAPACITY);
  EXPECT_EQ(lost, 10U);
  EXPECT_EQ(kept.front().start, 10);
  EXPECT_EQ(kept.back().start, static_cast<std::int64_t>(Activity::CAPACITY) + 9);
  EXPECT_EQ(kept.back().name, longest);
  EXPECT_EQ(kept.back().item, "int");
  EXPECT_EQ(kept.back().waited, 7);
  EXPECT_TRUE(spans().empty());
  std::vector<ActivitySpan> waited;
  Activity::read(0, waited, lost, 8);
  EXPECT_TRUE(waited.empty());
  Activity::read(since - 1, waited, lost, 7);
  EXPECT_EQ(waited.size(), 1U);
}

TEST_F(ActivityTest, WhatRunsAndWhatWaitsIsKnownWhileItIsWatched) {
  const Activity::Watch watch;
  std::atomic<bool> inside = false;
  std::atomic<bool> leave = false;
  DispatchQueueSerial queue("test.busy", QoS::DEFAULT);
  queue.async([&] {
    for (inside = true; !leave;) usleep(1000);
  });
  while (!inside) usleep(1000);
  queue.async([] {});
  const auto state = [] {
    const auto all = platform().serialQueues().states();
    return *std::ranges::find(all, "test.busy", &QueueState::label);
  };
  EXPECT_EQ(state().depth, 1U);
  EXPECT_NE(state().item.find("TestBody()::"), std::string::npos) << state().item;
  EXPECT_LE(state().runningSince, Clock::now());
  EXPECT_GT(state().runningSince, 0);
  const pid_t child = fork();
  if (child == 0) _exit(Activity::isOn() || !platform().serialQueues().states().empty() ? 1 : 0);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "a forked child has queues of its own, and nobody watches it";
  leave = true;
  queue.sync([] {});
}

}  // namespace
}  // namespace corvane
