#include "corvane/system/helper/XPC.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

#include "corvane/core/Log.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"

namespace corvane {
namespace {

using Dictionary = Message::Dictionary;

constexpr const char* LABEL = "a.b.helper";
Mutex g_mutex;
std::string g_log CORVANE_GUARDED_BY(g_mutex);

// What was logged since the last time.
std::string logged() {
  MutexLock lock(g_mutex);
  return std::exchange(g_log, {});
}

class XPCTest : public testing::Test {
 protected:
  XPCTest() {
    static constexpr LogSink SINK = {[](std::string_view line) {
                                       MutexLock lock(g_mutex);
                                       g_log += std::string(line) + "|";
                                     },
                                     [] { return true; }};
    setLogSink(&SINK);
    fake.helperInstaller->bundled = {{LABEL, FakeHelperInstaller::info("3")}};
  }

  FakePlatform fake;
  FakeMessageConnections& helper = *fake.messageConnections;
};

TEST_F(XPCTest, without_a_connection_nothing_is_sent_or_called) {
  const struct {
    bool installs;
    const char* log;
  } rows[] = {{false,
               "AuthorizationCopyRights has failed.|SMJobBless install helper: FAIL|"
               "Helper failed installation !!!|Cannot start helper|"},
              {true, "SMJobBless install helper: OK|Failed to create XPC connection.|Cannot start helper|"}};
  for (const auto& row : rows) {
    fake.authorization->refusal = row.installs ? std::nullopt : std::optional<Error>(Error{"fake", 1, "no"});
    helper.error = Error{"fake", 1, "no bus"};
    const auto xpc = XPC::create(LABEL);
    EXPECT_EQ(logged(), row.log);
    EXPECT_FALSE(xpc->isRunning());
    EXPECT_EQ(xpc->helperPID(), -1);
    xpc->perform([](Message&) { ADD_FAILURE(); }, [](const Message&) { ADD_FAILURE(); });
    xpc->stop("stop");
  }
  EXPECT_TRUE(helper.requests().empty());
}

TEST_F(XPCTest, many_threads_each_get_their_own_reply) {
  helper.answer = [](const Message& request) { return request; };
  const auto xpc = XPC::create(LABEL);
  EXPECT_EQ(xpc->helperPID(), 4711);
  std::atomic<int> right = 0;
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 16; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 50; ++i)
        xpc->perform([=](Message& request) { request.set("k", thread * 1000 + i); },
                     [&](const Message& reply) { right += *reply.find("k") == thread * 1000 + i; });
    });
  threads.clear();
  EXPECT_EQ(right, 16 * 50);
}

TEST_F(XPCTest, what_ends_the_connection_releases_those_who_wait) {
  const auto event = [this](ConnectionEvent kind) { return [=, this](XPC&) { helper.announce(kind); }; };
  const struct {
    std::function<void(XPC&)> act;
    bool ends;
    const char* log;
    std::vector<Message> sent;
  } rows[] = {
      {event(ConnectionEvent::MESSAGE), false, "Unexpected XPC connection event.|", {}},
      {event(ConnectionEvent::ERROR), false, "Unexpected XPC connection error.|", {}},
      {event(ConnectionEvent::INTERRUPTED), true, "", {"cancelled"}},
      {event(ConnectionEvent::INVALID), true, "XPC connection invalid, releasing.|", {"cancelled"}},
      {[](XPC& xpc) { xpc.stop("halt"); }, true, "", {Dictionary{{"halt", ""}}, "cancelled"}},
  };
  for (const auto& row : rows) {
    const auto xpc = XPC::create(LABEL);
    std::latch answered(1);
    Message got;
    std::atomic<bool> isReleased = false;
    std::jthread caller([&] {
      xpc->perform([](Message& request) { request.set("k", 1); },
                   [&](const Message& reply) {
                     got = reply;
                     answered.count_down();
                   });
      isReleased = true;
    });
    waitUntil([&] { return helper.waiting() == 1; });
    logged();
    const std::size_t before = helper.requests().size();
    row.act(*xpc);
    std::string log;
    waitUntil([&] { return (log += logged()) == row.log && xpc->isRunning() != row.ends; });
    if (!row.ends) {
      EXPECT_FALSE(isReleased) << row.log;
      helper.reply("late");
    }
    answered.wait();
    caller.join();
    EXPECT_TRUE(row.ends ? got.asError() != nullptr : got == "late") << row.log;
    const auto requests = helper.requests();
    EXPECT_EQ(std::vector(requests.begin() + static_cast<std::ptrdiff_t>(before), requests.end()), row.sent);
    helper.announce(ConnectionEvent::INVALID);  // of a connection that no longer counts
    xpc->stop("again");
  }
}

TEST_F(XPCTest, replies_after_the_end_of_the_object_are_dropped) {
  auto xpc = XPC::create(LABEL);
  std::latch goOn(1), dropped(1);
  bool isAnswered = false;
  // What a response holds is destroyed on the reply queue, which this keeps busy.
  const auto holding = [](std::function<void()> atEnd) {
    return std::shared_ptr<void>(nullptr, [atEnd = std::move(atEnd)](void*) { atEnd(); });
  };
  std::jthread first([&] { xpc->perform([](Message&) {}, [busy = holding([&] { goOn.wait(); })](const Message&) {}); });
  waitUntil([&] { return helper.reply("first"); });
  first.join();
  std::jthread second([&] {
    xpc->perform([](Message&) {},
                 [&, late = holding([&] { dropped.count_down(); })](const Message&) { isAnswered = true; });
  });
  waitUntil([&] { return helper.waiting() == 1; });
  xpc->stop("stop");
  second.join();
  xpc.reset();
  goOn.count_down();
  dropped.wait();
  EXPECT_FALSE(isAnswered);
}

TEST_F(XPCTest, its_own_functions_may_not_use_it) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  helper.answer = [](const Message& request) { return request; };
  const auto xpc = XPC::create(LABEL);
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"XPC::perform was called by", [&] { xpc->perform([](Message&) {}, [](const Message&) {}); }},
      {"XPC::stop was called by", [&] { xpc->stop("stop"); }},
      {"XPC::isRunning was called by", [&] { xpc->isRunning(); }},
      {"XPC::helperPID was called by", [&] { xpc->helperPID(); }},
  };
  for (const auto& [message, act] : rows) {
    EXPECT_DEATH(xpc->perform([&](Message&) { act(); }, [](const Message&) {}), message);
    EXPECT_DEATH(xpc->perform([](Message&) {}, [&](const Message&) { act(); }), message);
  }
}

}  // namespace
}  // namespace corvane
