#include "corvane/core/MainQueue.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/platform/EndSignals.h"
#include "corvane/testing/ManualClock.h"
#include "tests/support/Pump.h"

namespace corvane {
namespace {

TEST(MainQueueTest, DelayedWorkRunsOnceWhenItsTimeHasCome) {
  ManualClock clock(Timeval::sec(1'000'000));
  std::string order;
  const auto note = [&order](char name) {
    EXPECT_TRUE(IsMainQueue());
    order += name;
  };
  std::optional<DispatchQueueSerial> queue(std::in_place, "test.after", QoS::DEFAULT), gone = std::nullopt;
  gone.emplace("test.gone", QoS::DEFAULT);
  const auto late = main_after(2, [&] { note('l'); });
  main_after(1, [&] { note('b'); });
  auto cancelled = main_after(1, [&] { note('x'); });
  queue->after(1, [&] {
    EXPECT_FALSE(IsMainQueue());
    main_sync([&] { note('q'); });
  });
  gone->after(1, [&] { order += 'g'; });
  gone.reset();
  main_after(0, [&] { note('a'); });
  EXPECT_EQ(order, "") << "never in place";
  ASSERT_TRUE(pumpUntil([&] { return order == "a"; }));
  cancelled.cancel();
  EXPECT_FALSE(cancelled.pending());
  clock.advance(Timeval::usec(999'999));
  pump();
  EXPECT_EQ(order, "a");
  clock.advance(Timeval::usec(1));
  ASSERT_TRUE(pumpUntil([&] { return order.size() == 3; }));
  EXPECT_TRUE(late.pending());
  clock.advance(Timeval::sec(1));
  ASSERT_TRUE(pumpUntil([&] { return order.size() == 4; }));
  EXPECT_EQ(order.back(), 'l');
  EXPECT_FALSE(late.pending());
}

TEST(MainQueueDeathTest, TheFirstSignalQuitsAndTheSecondKills) {
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    EXPECT_EXIT(
        {
          MainLoop::quitOnSignals();
          main_post([number] { raise(number); });
          MainLoop::run();
          exit(7);
        },
        testing::ExitedWithCode(7), "");
    EXPECT_EXIT(
        {
          MainLoop::quitOnSignals();
          for (int i = 0; i < 2; ++i) {
            main_post([number] { raise(number); });
            MainLoop::run();
          }
        },
        testing::KilledBySignal(number), "");
  }
  EXPECT_EXIT(
      {
        signal(SIGINT, SIG_IGN);
        MainLoop::quitOnSignals();
        raise(SIGINT);
        main_after(0.1, [] { exit(8); });
        MainLoop::run();
      },
      testing::ExitedWithCode(8), "");
}

TEST(EndSignalsDeathTest, TheNewestObjectGetsThem) {
  EXPECT_EXIT(
      {
        const EndSignals first([](int) { exit(1); });
        const EndSignals second([](int number) { exit(number + 1); });
        {
          const EndSignals third([](int) { exit(3); });
        }
        raise(SIGHUP);
        MainLoop::run();
      },
      testing::ExitedWithCode(SIGHUP + 1), "");
}

TEST(EndSignalsDeathTest, AForkedChildIsEndedAlone) {
  EXPECT_EXIT(
      {
        const EndSignals signals([](int) { exit(1); });
        const pid_t child = fork();
        if (child == 0) _exit(raise(SIGTERM));
        int status = 0;
        waitpid(child, &status, 0);
        main_after(0.1, [status] { exit(WTERMSIG(status)); });
        MainLoop::run();
      },
      testing::ExitedWithCode(SIGTERM), "");
}

}  // namespace
}  // namespace corvane
