#include "corvane/core/MasterTimer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "corvane/core/Log.h"
#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "tests/support/Pump.h"

namespace corvane {
namespace {

std::vector<std::string> s_log;
constexpr LogSink SINK = {[](std::string_view line) { s_log.emplace_back(line); }, [] { return true; }};

// A timer on a clock that stands still, with power events that the test emits.
struct MasterTimerTest : testing::Test {
  MasterTimerTest() {
    s_log.clear();
    setLogSink(&SINK);
    MasterTimer::setInstance(timer);
  }
  ~MasterTimerTest() override {
    timer->stop();
    MasterTimer::setInstance(std::make_shared<MasterTimer>());
    EXPECT_TRUE(pumpUntil([this] { return timer.use_count() == 1; })) << "the thread ends";
    setLogSink(nullptr);
  }

  static std::shared_ptr<Repeater> repeater(const std::string& name) { return std::make_shared<Repeater>(name); }

  // Starts the timer and a repeater that counts its runs, and waits for the first.
  void startTick() {
    timer->start();
    tick->start(1.0, [this] { ++runs; });
    ASSERT_TRUE(ran(1));
  }
  bool ran(int count) const {
    return pumpUntil([&] { return runs == count; });
  }

  // Moves the clock and waits for as many runs in all.
  bool ranAfter(double seconds, int count) {
    clock.advance(Timeval::nsec(0) + seconds);
    return ran(count);
  }

  std::string names() const {
    std::string text;
    for (const auto& stats : timer->repeaterStats()) text += stats.name;
    return text;
  }

  ManualClock clock{Timeval::sec(1'000'000)};
  FakePlatform fake;
  std::shared_ptr<MasterTimer> timer = std::make_shared<MasterTimer>();
  std::shared_ptr<Repeater> tick = repeater("tick");
  int runs = 0;
};

TEST_F(MasterTimerTest, APausedRepeaterRestsUntilItIsResumedOrStartedAgain) {
  startTick();
  const auto state = [&] { return timer->repeaterStates().at(0); };
  const std::uint64_t id = state().id;
  EXPECT_FALSE(timer->setPaused(id + 1, true));
  ASSERT_TRUE(timer->setPaused(id, true));
  EXPECT_TRUE(state().isPaused);
  EXPECT_TRUE(tick->running());
  clock.advance(Timeval::nsec(0) + 5.0);
  pump();
  EXPECT_EQ(runs, 1);
  ASSERT_TRUE(timer->setPaused(id, false));
  ASSERT_TRUE(ran(2));
  EXPECT_FALSE(state().isPaused);
  timer->setPaused(id, true);
  tick->start(1.0, [this] { ++runs; });
  ASSERT_TRUE(ran(3));
  EXPECT_FALSE(state().isPaused);
  timer->setPaused(id, true);
  tick->stop();
  EXPECT_TRUE(timer->repeaterStates().empty());
}

TEST(WeightedStats, KeepASmallSpreadBesideALargeMean) {
  WeightedStats stats = WeightedStats::seeded(86'400e6);
  for (int i = 0; i < 1000; ++i) stats.update(86'400e6 + (i % 2 ? 10 : -10), 10, 1);
  EXPECT_NEAR(stats.smoothed, 86'400e6, 1);
  EXPECT_NEAR(stats.deviation, 10, 0.1);
  stats.update(7, 0, 1);
  EXPECT_EQ(stats.smoothed, 7) << "a time constant that is not positive keeps nothing";
  EXPECT_EQ(stats.deviation, 0);
}

TEST_F(MasterTimerTest, ARepeaterRunsAtOnceAndThenEveryInterval) {
  timer->start();
  EXPECT_FALSE(tick->running());
  EXPECT_EQ(tick->timeConstant(), 10);
  tick->start(1.0, [&] {
    EXPECT_TRUE(IsMainQueue());
    ++runs;
    clock.advance(Timeval::usec(300));
  });
  EXPECT_TRUE(tick->running());
  ASSERT_TRUE(ran(1));
  auto stats = timer->repeaterStats().at(0);
  EXPECT_EQ(stats.name, "tick");
  EXPECT_EQ(stats.interval_stats.smoothed, 1'000'000) << "seeded with the nominal interval";
  EXPECT_EQ(stats.elapsed_stats.smoothed, 300);
  EXPECT_TRUE(ranAfter(1.0, 2));
  pump();
  EXPECT_EQ(runs, 2);
  stats = timer->repeaterStats().at(0);
  EXPECT_EQ(stats.count, 2);
  EXPECT_EQ(stats.total_elapsed, 600);
  EXPECT_EQ(stats.interval_stats.last, 1'000'300);
  tick->stop();
  EXPECT_FALSE(tick->running());
  EXPECT_EQ(names(), "");
  tick->start(1.0, [&] { ++runs; });
  EXPECT_TRUE(ran(3));
  EXPECT_EQ(timer->repeaterStats().at(0).count, 1);
}

TEST_F(MasterTimerTest, LostPeriodsAreSkippedAndThePhaseIsKeptWherePossible) {
  timer->start();
  std::vector<double> starts;
  double busy = 2.5;
  const Timeval begin;
  tick->start(1.0, [&] {
    ++runs;
    starts.push_back(static_cast<double>((Timeval() - begin).msec()) / 1000);
    clock.advance(Timeval::nsec(0) + std::exchange(busy, 0));
  });
  // Late by 2.5 s from its own task: due again at 1.0, once, at 2.5; then that run lost a whole interval, so a new
  // phase.
  ASSERT_TRUE(ran(2));
  pump();
  EXPECT_EQ(runs, 2);
  ASSERT_TRUE(ranAfter(1.0, 3));
  // Late by less than an interval: the phase of 3.5 stays.
  clock.advance(Timeval::nsec(0) + 0.9);
  pump();
  ASSERT_TRUE(ranAfter(0.6, 4));
  ASSERT_TRUE(ranAfter(0.5, 5));
  EXPECT_EQ(starts, (std::vector{0.0, 2.5, 3.5, 5.0, 5.5}));
}

// The list as a plain vector, stably sorted before every walk.
struct Entry {
  char name;
  std::int64_t due;
};

// What runs at a time, in order.
std::string runsOf(std::vector<Entry>& list, std::map<char, std::int64_t>& intervals, std::int64_t now) {
  std::string runs;
  for (bool again = true; again;) {
    again = false;
    std::ranges::stable_sort(list, {}, &Entry::due);
    for (const Entry entry : std::vector(list)) {
      if (std::ranges::find(list, entry.name, &Entry::name)->due > now) break;
      runs += entry.name;
      for (Entry& each : list)
        if (each.name == entry.name) each.due += intervals[entry.name];
      again = true;
    }
  }
  return runs;
}

TEST_F(MasterTimerTest, MatchesAStableSortOfTheListOnRandomRuns) {
  std::mt19937 random(7);
  std::string real, expected;
  std::vector<std::shared_ptr<Repeater>> repeaters;
  std::map<char, std::int64_t> intervals;
  std::vector<Entry> list;
  std::int64_t now = 0;
  const auto start = [&](std::size_t index) {
    const char name = static_cast<char>('a' + index);
    intervals[name] = 1 + static_cast<int>(random() % 3);
    for (Entry& entry : list)
      if (entry.name == name) entry.due = now;
    list.push_back({name, now});
    repeaters[index]->start(static_cast<double>(intervals[name]), [&real, name] { real += name; });
  };
  for (std::size_t i = 0; i < 8; ++i) repeaters.push_back(repeater(std::string(1, static_cast<char>('a' + i))));
  for (std::size_t i = 0; i < 8; ++i) start(i);
  timer->start();
  const auto walk = [&] {
    expected += runsOf(list, intervals, now);
    return pumpUntil([&] { return real.size() >= expected.size(); });
  };
  for (int step = 0; step < 60; ++step) {
    ASSERT_TRUE(walk());
    ASSERT_EQ(real, expected) << "step " << step;
    // The timer is at rest: sleep and wake, restart one, add it once more, or take it out, and then let time pass.
    // What makes entries due is followed by its walk, which may begin before the next step.
    if (random() % 8 == 0) {
      fake.power->announce(WILL_SLEEP);
      fake.power->announce(DID_WAKE);
      for (Entry& entry : list) entry.due = now;
      ASSERT_TRUE(walk());
    }
    const std::size_t index = random() % repeaters.size();
    if (random() % 6 == 0) {
      start(index);
      ASSERT_TRUE(walk());
    }
    const auto listed = std::ranges::find(list, static_cast<char>('a' + index), &Entry::name);
    if (listed != list.end() && random() % 6 == 0) {
      list.push_back(Entry(*listed));
      timer->add(repeaters[index]);
    }
    if (random() % 9 == 0) {
      repeaters[index]->stop();
      std::erase_if(list, [&](const Entry& entry) { return entry.name == static_cast<char>('a' + index); });
    }
    ASSERT_TRUE(walk());
    now += 1;
    clock.advance(Timeval::sec(1));
  }
  EXPECT_GT(real.size(), 100U);
}

TEST_F(MasterTimerTest, AnEntryWithinTheToleranceCountsAsDue) {
  startTick();
  clock.advance(Timeval::sec(1) - Timeval::nsec(1'000));
  pump();
  EXPECT_EQ(runs, 1);
  clock.advance(Timeval::nsec(1));
  // Nothing in the wait notices 999 ns; another entry makes the timer look.
  repeater("other")->start(100, [] {});
  EXPECT_TRUE(ran(2));
}

TEST_F(MasterTimerTest, ATaskMayStopAndRestartItself) {
  timer->start();
  const auto once = repeater("once");
  once->start(1.0, [&] {
    ++runs;
    once->stop();
  });
  tick->start(1.0, [&] {
    ++runs;
    tick->start(5.0, [&] { runs += 10; });
  });
  ASSERT_TRUE(ran(2));
  EXPECT_FALSE(once->running());
  clock.advance(Timeval::sec(4));
  pump();
  EXPECT_EQ(runs, 2);
  EXPECT_TRUE(ranAfter(1.0, 12));
}

TEST_F(MasterTimerTest, AnEntryAddedByATaskWaitsForTheNextPass) {
  timer->start();
  std::string order;
  const auto a = repeater("a"), b = repeater("b"), c = repeater("c");
  main_sync([&] {
    a->start(9, [&] {
      order += 'a';
      c->start(9, [&] { order += 'c'; });
    });
    b->start(9, [&] { order += 'b'; });
  });
  ASSERT_TRUE(pumpUntil([&] { return order.size() == 3; }));
  EXPECT_EQ(order, "abc");
}

TEST_F(MasterTimerTest, ARepeaterLivesUntilStopEvenIfItsOwnerDropsIt) {
  timer->start();
  const std::weak_ptr<Repeater> weak = tick;
  std::shared_ptr<int> held(new int, [](int* number) {
    EXPECT_TRUE(IsMainQueue()) << "what a task holds is destroyed where it ran";
    delete number;
  });
  const std::weak_ptr<int> capture = held;
  tick->start(1.0, [this, &weak, held] {
    if (++runs == 2) weak.lock()->stop();
  });
  tick.reset();
  held.reset();
  ASSERT_TRUE(ran(1));
  EXPECT_FALSE(weak.expired());
  ASSERT_TRUE(ranAfter(1.0, 2));
  EXPECT_TRUE(pumpUntil([&] { return weak.expired() && capture.expired(); }));
}

TEST_F(MasterTimerTest, CapturesWhoseDestructorsCallBackDoNotDeadlock) {
  timer->start();
  const auto other = repeater("other");
  std::shared_ptr<void> callback(nullptr, [other](void*) { other->stop(); });
  other->start(1.0, [] {});
  tick->start(1.0, [this, c = std::move(callback)] { ++runs; });
  ASSERT_TRUE(ran(1));
  tick->start(1.0, [] {});
  EXPECT_FALSE(other->running());
}

TEST_F(MasterTimerTest, SleepPausesAndWakeRestartsWithFreshStatistics) {
  startTick();
  fake.power->announce(WILL_SLEEP);
  clock.advance(Timeval::sec(3'600));
  pump();
  EXPECT_EQ(runs, 1);
  fake.power->announce(SCREENS_DID_SLEEP);
  fake.power->announce("NSWorkspaceSomethingElse");
  fake.power->announce(DID_WAKE);
  EXPECT_EQ(timer->repeaterStats().at(0).count, 0);
  ASSERT_TRUE(ran(2));
  EXPECT_EQ(timer->repeaterStats().at(0).count, 1);
  pump();
  EXPECT_EQ(runs, 2) << "no run is made up";
  ASSERT_TRUE(ranAfter(1.0, 3));
  fake.power->announce(SCREENS_DID_SLEEP);
  ASSERT_TRUE(ranAfter(1.0, 4)) << "screens asleep do not pause";
  fake.power->announce(SCREENS_DID_WAKE);
  EXPECT_EQ(timer->repeaterStats().at(0).count, 0) << "a screen wake resets the statistics";
  pump();
  EXPECT_EQ(runs, 4) << "and runs nothing";
  fake.power->announce(WILL_SLEEP);
  fake.power->announce(SCREENS_DID_WAKE);
  ASSERT_TRUE(ran(5)) << "but ends a sleep";
  EXPECT_EQ(s_log,
            (std::vector<std::string>{
                "MasterTimer: Going to sleep", "MasterTimer: Screens going to sleep",
                "MasterTimer: Woke up - restart repeaters", "MasterTimer: Woke up - reset stats",
                "MasterTimer: Screens going to sleep", "MasterTimer: Screens woke up - restart repeaters",
                "MasterTimer: Screens woke up - reset stats", "MasterTimer: Going to sleep",
                "MasterTimer: Screens woke up - restart repeaters", "MasterTimer: Screens woke up - reset stats"}));
}

TEST_F(MasterTimerTest, AnIntervalThatIsNotPositiveIsReportedAndDoesNotSpin) {
  timer->start();
  tick->start(0, [&] { ++runs; });
  ASSERT_TRUE(ran(1));
  pump();
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(ranAfter(0.001, 2));
  EXPECT_EQ(s_log, std::vector<std::string>{"Repeater tick: the interval is not positive; it runs every millisecond"});
}

TEST_F(MasterTimerTest, AMainLoopWithoutTheTimerIsReportedOnce) {
  for (int i = 0; i < 2; ++i) tick->start(1.0, [] {});
  pump();
  EXPECT_EQ(s_log, std::vector<std::string>{"MasterTimer: repeaters are waiting, but start() was not called"});
}

TEST_F(MasterTimerTest, StopDropsAllAndStartBeginsAfresh) {
  startTick();
  EXPECT_EQ(fake.power->subscribers(), 1U);
  timer->stop();
  EXPECT_EQ(fake.power->subscribers(), 0U);
  EXPECT_EQ(names(), "");
  EXPECT_TRUE(tick->running()) << "the repeater itself was not stopped";
  // Quick changes leave one thread, that of the last one.
  for (int i = 0; i < 20; ++i) {
    timer->start();
    timer->start();
    if (i < 19) timer->stop();
  }
  tick->start(1.0, [&] {
    ++runs;
    timer->stop();
  });
  ASSERT_TRUE(ran(2)) << "stop from inside a task";
  clock.advance(Timeval::sec(2));
  pump();
  EXPECT_EQ(runs, 2);
}

TEST_F(MasterTimerTest, AnotherInstanceTakesOverRepeatersStartedFromThenOn) {
  startTick();
  const auto other = std::make_shared<MasterTimer>();
  MasterTimer::setInstance(other);
  EXPECT_EQ(MasterTimer::instance(), other);
  ASSERT_TRUE(ranAfter(1.0, 2)) << "it stays with its timer";
  other->start();
  tick->start(1.0, [&] { ++runs; });
  EXPECT_TRUE(timer->repeaterStats().empty());
  EXPECT_EQ(other->repeaterStats().size(), 1U);
  ASSERT_TRUE(ran(3));
  tick->stop();
  EXPECT_TRUE(other->repeaterStats().empty());
  other->stop();
}

TEST_F(MasterTimerTest, TimeConstantAndStatisticsAreSetForAll) {
  startTick();
  const auto other = repeater("other");
  other->start(1.0, [&] { ++runs; });
  ASSERT_TRUE(ran(2));
  timer->setTimeConstant(30);
  EXPECT_EQ(tick->timeConstant(), 30);
  EXPECT_EQ(other->timeConstant(), 30);
  timer->resetStats();
  for (const auto& stats : timer->repeaterStats()) EXPECT_EQ(stats.count, 0) << stats.name;
  other->setInterval(0.25);
  ASSERT_TRUE(ranAfter(1.0, 4));
  EXPECT_TRUE(ranAfter(0.25, 5)) << "the new interval counts from the next rescheduling";
}

TEST_F(MasterTimerTest, StartAndStopFromManyThreads) {
  timer->start();
  setLogSink(nullptr);  // the test's sink is for one thread
  std::vector<std::shared_ptr<Repeater>> repeaters;
  for (int i = 0; i < 8; ++i) repeaters.push_back(repeater(std::to_string(i)));
  std::atomic<int> ended = 0, working = 3;
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < 3; ++seed)
    threads.emplace_back([&, seed] {
      std::mt19937 random(seed);
      for (int i = 0; i < 2'000 || (ended < 200 && i < 2'000'000); ++i) {
        const auto& any = repeaters[random() % repeaters.size()];
        const auto what = random() % 8;
        if (what == 0) timer->repeaterStats();
        if (what == 1) any->setInterval(any->interval() / 2);
        if (what == 2) timer->resetStats();
        if (what == 3) fake.power->announce(random() % 2 ? WILL_SLEEP : DID_WAKE);
        if (what == 4 || what == 5) any->stop();
        if (what > 5)
          any->start(1e-4, [&ended, &any] {
            if (++ended % 7 == 0) any->stop();
          });
        clock.advance(Timeval::usec(50));
      }
      --working;
    });
  EXPECT_TRUE(pumpUntil([&] { return working == 0; }));
  for (auto& thread : threads) thread.join();
  EXPECT_GE(ended, 200);
  for (const auto& each : repeaters) each->stop();
  EXPECT_EQ(names(), "");
}

TEST(RepeaterDeathTest, BrokenPreconditionsAreFatal) {
  EXPECT_DEATH(Repeater{}, "fatal: .*unimplemented initializer 'init\\(\\)' for class 'Corvane.Repeater'");
  EXPECT_DEATH(Repeater("on the stack").start(1, [] {}), "fatal: Repeater::start");
  const auto run = [](auto&& begin) {
    FakePlatform fake;
    MasterTimer::instance()->start();
    begin(std::make_shared<Repeater>("x"));
    pump();
  };
  EXPECT_DEATH(run([](const auto& x) { MasterTimer::instance()->add(x); }),
               "fatal: Repeater: a registered repeater has no due time");
  EXPECT_DEATH(run([](const auto& x) { x->start(1e300, [] {}); }), "fatal: .*out of range");
}

}  // namespace
}  // namespace corvane
