#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <latch>
#include <mutex>
#include <thread>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/PThread.h"
#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

std::size_t threadCount() {
  return namesIn("/proc/self/task").size();
}

TEST(PThread, AThreadWithItsContextOutlivesStopAndItsObject) {
  std::latch release(1), begun(1), ended(1);
  int order = 0;
  {
    PThread thread;
    thread.start(1, [&](const std::any& context) {
      EXPECT_FALSE(IsMainQueue());
      release.wait();
      order = order * 10 + std::any_cast<int>(context);
      ended.count_down();
    });
    thread.stop();
    thread.start({}, [&](const std::any& context) {
      order = context.has_value() ? 0 : 2;
      begun.count_down();
    });
    begun.wait();
  }
  release.count_down();
  ended.wait();
  EXPECT_EQ(order, 21);
}

TEST(SerialQueue, RunsWorkInOrderOneAtATime) {
  DispatchQueueSerial queue("org.corvane.test.order", QoS::UNSPECIFIED);
  constexpr int PER_THREAD = 5'000;
  std::vector<std::pair<int, int>> seen;
  std::atomic<int> inside = 0;
  std::vector<std::thread> producers;
  for (int id = 0; id < 2; ++id)
    producers.emplace_back([&, id] {
      for (int i = 0; i < PER_THREAD; ++i)
        queue.async([&, id, i] {
          EXPECT_EQ(inside.fetch_add(1), 0);
          seen.emplace_back(id, i);
          --inside;
        });
    });
  for (auto& producer : producers) producer.join();
  queue.sync([] {});
  ASSERT_EQ(seen.size(), 2U * PER_THREAD);
  int next[2] = {0, 0};
  for (const auto& [id, i] : seen) EXPECT_EQ(i, next[id]++);
}

TEST(SerialQueue, SyncWaitsAndRunsOffTheMainQueue) {
  DispatchQueueSerial queue("org.corvane.test.a-very-long-label.tail", QoS::BACKGROUND);
  char name[16] = {};
  int niceness = -1;
  bool onMain = true;
  queue.sync([&] {
    onMain = IsMainQueue();
    pthread_getname_np(pthread_self(), name, sizeof name);
    niceness = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
  });
  EXPECT_FALSE(onMain);
  EXPECT_STREQ(name, "long-label.tail");
  EXPECT_GE(niceness, 10);
  EXPECT_EQ(queue.label(), "org.corvane.test.a-very-long-label.tail");
}

TEST(SerialQueue, AThousandIdleQueuesHaveNoThreads) {
  std::thread([] {}).join();  // a sanitizer starts a thread of its own with the first
  const std::size_t before = threadCount();
  std::vector<std::unique_ptr<DispatchQueueSerial>> queues;
  for (int i = 0; i < 1'000; ++i) queues.push_back(std::make_unique<DispatchQueueSerial>("idle", QoS::DEFAULT));
  EXPECT_EQ(threadCount(), before);
  // One after the other they share few threads: more than one, as a queue's work ends before its thread is free.
  for (auto& queue : queues) queue->sync([] {});
  EXPECT_LE(threadCount(), before + 50);
  EXPECT_TRUE(waitUntil([&] { return threadCount() == before; })) << "idle workers end";
}

TEST(SerialQueue, QueuesThatBlockDoNotStarveOthers) {
  constexpr int BLOCKED = 64;
  std::latch release(1);
  std::latch ended(BLOCKED);
  for (int i = 0; i < BLOCKED; ++i)
    DispatchQueueSerial("blocked", QoS::UNSPECIFIED).async([&] {
      release.wait();
      ended.count_down();
    });
  DispatchQueueSerial("free", QoS::UNSPECIFIED).sync([] {});
  release.count_down();
  ended.wait();
}

#if !defined(__SANITIZE_THREAD__)  // it allows no threads after a fork
TEST(SerialQueue, AForkedChildHasThreadsOfItsOwn) {
  DispatchQueueSerial queue("fork", QoS::DEFAULT);
  queue.sync([] {});  // its worker is idle now, and the child has none
  EXPECT_EXIT((alarm(20), queue.sync([] { _exit(0); })), testing::ExitedWithCode(0), "");
}
#endif

TEST(SerialQueue, ARefusedThreadIsReportedOrAwaited) {
  DispatchQueueSerial queue("refused", QoS::DEFAULT);
  std::latch refused(1);
  std::thread relief([&] {
    refused.wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    allowThreads(true);
  });
  int ran = 0;
  allowThreads(false);
  EXPECT_FALSE(queue.async([&] { ran += 10; }));
  refused.count_down();
  queue.sync([&] { ++ran; });
  EXPECT_EQ(ran, 1);
  relief.join();
}

TEST(MainQueue, WorkPostedFromThreadsRunsThereInOrder) {
  ASSERT_TRUE(IsMainQueue()) << "the first thread, while nobody runs the loop";
  std::string order;
  bool elsewhere = true;
  std::thread thread([&] {
    elsewhere = IsMainQueue();
    main_async([&] { order += IsMainQueue() ? 'a' : '?'; });
    main_async([&] { order += 'b'; });
    main_sync([&] { order += 'c'; });
    order += 'd';  // the main thread is in its loop
    main_async([&] { order += 'e'; });
    MainLoop::quit();
  });
  MainLoop::run();
  thread.join();
  EXPECT_FALSE(elsewhere);
  EXPECT_EQ(order, "abcde");
}

TEST(MainQueue, OnTheMainQueueWorkRunsInPlace) {
  std::string order;
  main_async([&] { order += 'a'; });
  main_sync([&] { order += 'b'; });
  EXPECT_EQ(order, "ab");
  main_post([&] { order += 'd'; });
  MainLoop::quit();
  order += 'c';
  MainLoop::run();
  EXPECT_EQ(order, "abcd");
}

TEST(MainQueue, ANestedLoopContinuesTheWork) {
  std::string order;
  main_post([&] {
    order += '[';
    MainLoop::run();
    order += ']';
    MainLoop::quit();
  });
  main_post([&] {
    order += 'x';
    MainLoop::quit();
  });
  MainLoop::run();
  EXPECT_EQ(order, "[x]");
}

TEST(MainQueueDeathTest, MisuseIsFatal) {
  EXPECT_DEATH(std::thread([] { MainLoop::run(); }).join(), "fatal: MainLoop::run: not on the main queue");
  EXPECT_DEATH(
      {
        main_post([] { throw std::runtime_error("from work"); });
        MainLoop::run();
      },
      "fatal: an exception left the work of a thread or queue: from work");
  EXPECT_DEATH(DispatchQueueSerial("x", QoS::DEFAULT).sync([] { throw 1; }), "fatal: an exception left the work");
  EXPECT_DEATH(
      {
        PThread().start({}, [](const std::any&) { throw std::runtime_error("from a thread"); });
        pause();
      },
      "fatal: .*from a thread");
}

}  // namespace
}  // namespace corvane
