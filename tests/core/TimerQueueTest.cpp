#include "corvane/core/TimerQueue.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <atomic>
#include <limits>
#include <thread>

#include "corvane/core/MainQueue.h"
#include "corvane/core/Timeval.h"
#include "corvane/platform/Platform.h"
#include "corvane/testing/ManualClock.h"

namespace corvane {
namespace {

struct TimerQueueTest : testing::Test {
  // Waits (in real time) until the action has run `count` times in all.
  bool ran(int count) const {
    for (int i = 0; i < 20'000 && runs < count; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return runs >= count;
  }
  static void settle() { std::this_thread::sleep_for(std::chrono::milliseconds(30)); }
  static void waitFor(const TimerQueue& timer) {
    while (timer.isStopped()) std::this_thread::yield();
  }

  ManualClock clock{Timeval::sec(1'000'000)};
  std::atomic<int> runs = 0;
};

TEST_F(TimerQueueTest, RunsEveryPeriodOnAQueueOfItsOwn) {
  std::atomic<int> begun = 0;
  std::atomic<bool> onMain = true;
  std::atomic<int> slack = 0;
  const auto timer = std::make_shared<TimerQueue>(
      "test.timer", 0.1, [&] { ++begun; },
      [&] {
        onMain = IsMainQueue();
        slack = prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
        ++runs;
      });
  EXPECT_TRUE(timer->isStopped());
  timer->stop();
  EXPECT_EQ(timer->usecs(), 100'000);
  timer->start(QoS::DEFAULT);
  waitFor(*timer);
  EXPECT_EQ(begun, 1);
  settle();
  EXPECT_EQ(runs, 0) << "the first run comes a period later";
  for (int i = 1; i < 4; ++i) {
    clock.advance(Timeval::usec(100'000));
    EXPECT_TRUE(ran(i));
  }
  settle();
  EXPECT_EQ(runs, 3);
  EXPECT_FALSE(onMain);
  EXPECT_EQ(slack, 1) << "of the thread, in nanoseconds";
  timer->stop();
  while (!TimerQueue::states().empty()) std::this_thread::yield();
  clock.advance(Timeval::sec(1));
  settle();
  EXPECT_EQ(runs, 3);
}

TEST_F(TimerQueueTest, LateRunsAreMadeUpAndTheCadenceIsKept) {
  const auto timer = std::make_shared<TimerQueue>("test.late", 0.1, nullptr, [&] {
    if (++runs == 1) clock.advance(Timeval::usec(250'000));
  });
  timer->start();
  waitFor(*timer);
  clock.advance(Timeval::usec(100'000));
  EXPECT_TRUE(ran(3)) << "at 100 ms, and those of 200 and 300 ms at 350 ms";
  settle();
  EXPECT_EQ(runs, 3);
  clock.advance(Timeval::usec(49'000));
  settle();
  EXPECT_EQ(runs, 3);
  clock.advance(Timeval::usec(1'000));
  EXPECT_TRUE(ran(4)) << "at 400 ms again";
  timer->stop();
}

TEST_F(TimerQueueTest, AChangedPeriodCountsFromTheStartOfTheRunningOne) {
  const auto timer = std::make_shared<TimerQueue>("test.change", 1.0, nullptr, [&] { ++runs; });
  timer->start();
  waitFor(*timer);
  clock.advance(Timeval::usec(60'000));
  settle();
  timer->setUsecs(100'000);
  clock.advance(Timeval::usec(39'000));
  settle();
  EXPECT_EQ(runs, 0);
  clock.advance(Timeval::usec(1'000));
  EXPECT_TRUE(ran(1));
  timer->stop();
}

TEST_F(TimerQueueTest, LengtheningInsideTheActionRestartsTheCadence) {
  std::shared_ptr<TimerQueue> timer;
  timer = std::make_shared<TimerQueue>("test.longer", 0.1, nullptr, [&] {
    if (++runs == 1) {
      clock.advance(Timeval::usec(20'000));
      timer->setUsecs(500'000);
      EXPECT_EQ(timer->usecs(), 500'000);
      EXPECT_FALSE(timer->isStopped());
    }
  });
  timer->start();
  waitFor(*timer);
  clock.advance(Timeval::usec(100'000));
  ASSERT_TRUE(ran(1));
  settle();
  clock.advance(Timeval::usec(499'000));
  settle();
  EXPECT_EQ(runs, 1) << "not before 120 + 500 ms";
  clock.advance(Timeval::usec(1'000));
  EXPECT_TRUE(ran(2));
  timer->stop();
}

TEST_F(TimerQueueTest, StopWaitsForTheActionInProgress) {
  std::atomic<bool> inside = false, finished = false;
  const auto timer = std::make_shared<TimerQueue>("test.stop", 0.0, nullptr, [&] {
    inside = true;
    settle();
    finished = true;
  });
  timer->start();
  while (!inside) std::this_thread::yield();
  finished = false;
  timer->stop();
  EXPECT_TRUE(finished);
}

TEST_F(TimerQueueTest, OneThatIsDroppedBeforeItsQueueGetsToItDoesNotStart) {
  static std::function<void()> queued;
  struct SlowQueue : SerialQueues, SerialQueue {
    std::unique_ptr<SerialQueue> make(std::string, QoS) override { return std::make_unique<SlowQueue>(); }
    std::vector<QueueState> states() override { return {}; }
    bool async(std::function<void()>&& work) override {
      queued = std::move(work);
      return true;
    }
  };
  Platform slow;
  slow.serialQueues.set(std::make_shared<SlowQueue>());
  const ScopedPlatform scope(slow);
  std::make_shared<TimerQueue>(
      "test.dropped", 0.1, [&] { ++runs; }, [] {})
      ->start();
  queued();
  EXPECT_EQ(runs, 0);
}

TEST(TimerQueueDeathTest, BrokenPreconditionsAreFatal) {
  EXPECT_DEATH(TimerQueue("x", 1, nullptr, [] {}).start(), "fatal: TimerQueue::start: .*shared_ptr");
  for (const double interval :
       {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(), 1e13})
    EXPECT_DEATH(TimerQueue("x", interval, nullptr, [] {}), "fatal: .*not finite or out of range");
}

}  // namespace
}  // namespace corvane
