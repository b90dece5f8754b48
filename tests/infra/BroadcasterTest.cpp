#include "corvane/infra/Broadcaster.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <latch>
#include <stdexcept>
#include <thread>

#include "corvane/testing/ManualClock.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using Strings = std::vector<std::string>;

class Recorder : public Listener {
 public:
  using Action = std::function<void(const std::string& key, const std::any& object)>;
  explicit Recorder(Action action) : m_action(std::move(action)) {}
  ~Recorder() override { atEnd(); }
  void onBroadcast(const std::string& key, const std::any& object) override { m_action(key, object); }

  std::function<void()> atEnd = [] {};

 private:
  const Action m_action;
};

std::shared_ptr<Listener> recorder(Recorder::Action action) {
  return std::make_shared<Recorder>(std::move(action));
}

// Notes "NAME key value" for what it hears.
std::shared_ptr<Listener> noting(Strings& notes, const std::string& name) {
  return recorder([&notes, name](const std::string& key, const std::any& object) {
    const int* number = std::any_cast<int>(&object);
    notes.push_back(name + " " + key + " " + (number ? std::to_string(*number) : object.has_value() ? "?" : "-"));
  });
}

// Returns when what was broadcast asynchronously before has been delivered.
void drain() {
  std::latch reached(1);
  const auto last = recorder([&](const std::string&, const std::any&) { reached.count_down(); });
  AddListener("drain", last);
  Broadcast("drain", {}, true);
  reached.wait();
  RemoveListener("drain", last);
}

TEST(Broadcaster, DeliversInOrderOfRegistrationToTheListenersOfTheKey) {
  Strings notes;
  const auto a = noting(notes, "a"), b = noting(notes, "b"), c = noting(notes, "c");
  AddListeners({"one", "two"}, a);
  AddListener("one", b);
  AddListener("one", a);
  AddListener("one", c);
  for (const bool async : {false, true}) {
    notes.clear();
    Broadcast("one", 1, async);
    Broadcast("two", std::string("text"), async);
    Broadcast("none", 1, async);
    Broadcast("one", {}, async);
    drain();
    EXPECT_THAT(notes, ElementsAre("a one 1", "b one 1", "a one 1", "c one 1", "a two ?", "a one -", "b one -",
                                   "a one -", "c one -"))
        << (async ? "asynchronous" : "synchronous");
  }

  notes.clear();
  RemoveListener("one", a);
  RemoveListener("none", a);
  RemoveListener("two", b);
  RemoveListener("two", nullptr);
  Broadcast("one", 2);
  Broadcast("two", 2);
  EXPECT_THAT(notes, ElementsAre("b one 2", "c one 2", "a two 2")) << "both registrations of a are gone, no other";
  RemoveListeners({"two", "one"}, a);
  RemoveListeners({"one"}, b);
  RemoveListeners({"one"}, c);
  EXPECT_TRUE(broadcasterStats().empty());
}

TEST(Broadcaster, SynchronousIsOnThisThreadAsynchronousOnTheQueueAndLater) {
  std::vector<std::thread::id> threads;
  std::latch release(1);
  const auto listener = recorder([&](const std::string& key, const std::any&) {
    if (key == "wait") release.wait();
    threads.push_back(std::this_thread::get_id());
  });
  AddListeners({"wait", "go"}, listener);
  Broadcast("go");
  Broadcast("wait", {}, true);  // returns, though its delivery cannot
  Broadcast("go", {}, true);
  ASSERT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads[0], std::this_thread::get_id());
  release.count_down();
  drain();
  ASSERT_EQ(threads.size(), 3U);
  EXPECT_NE(threads[1], threads[0]);
  RemoveListeners({"wait", "go"}, listener);
}

TEST(Broadcaster, AQueuedDeliveryHasACopyOfTheValueAndKeepsItsListener) {
  Strings heard;
  std::latch release(1);
  auto gate = recorder([&](const std::string&, const std::any&) { release.wait(); });
  auto listener = recorder(
      [&](const std::string&, const std::any& object) { heard.push_back(std::any_cast<const std::string&>(object)); });
  const std::weak_ptr<Listener> weak = listener;
  AddListener("gate", gate);
  AddListener("late", listener);
  Broadcast("gate", {}, true);
  std::any value = std::string("as it was");
  Broadcast("late", value, true);
  value = std::string("changed");
  RemoveListener("late", listener);
  Broadcast("late", value, true);
  listener.reset();
  EXPECT_FALSE(weak.expired());
  release.count_down();
  drain();
  EXPECT_THAT(heard, ElementsAre("as it was")) << "removal takes nothing back, and stops what comes after it";
  EXPECT_TRUE(weak.expired());
  RemoveListener("gate", gate);
}

TEST(Broadcaster, RegistrationsHoldTheirListenersAndDestructorsMayCall) {
  Strings notes;
  const auto other = noting(notes, "other");
  auto listener = std::make_shared<Recorder>([&](const std::string&, const std::any&) { notes.push_back("called"); });
  listener->atEnd = [&] {
    Broadcast("key", 1);
    RemoveListener("key", other);
    notes.push_back("gone");
  };
  const std::shared_ptr<Listener> onlyItsName(std::shared_ptr<void>(), listener.get());
  AddListener("key", other);
  AddListener("key", std::move(listener));
  Broadcast("key", 0);
  RemoveListener("key", onlyItsName);
  EXPECT_THAT(notes, ElementsAre("other key 0", "called", "other key 1", "gone"));
}

TEST(Broadcaster, AnAsynchronousListenerMayCallEverything) {
  Strings notes;
  const auto added = noting(notes, "added");
  std::shared_ptr<Listener> once;
  once = recorder([&](const std::string& key, const std::any&) {
    AddListener("answer", added);
    Broadcast("answer", 1);
    Broadcast("answer", 2, true);
    RemoveListener(key, once);
    notes.push_back(
        std::to_string(std::ranges::count(broadcasterStats(), std::string("answer"), &broadcaster_stats::key)));
  });
  AddListener("ask", once);
  Broadcast("ask", {}, true);
  drain();  // the question
  drain();  // what it broadcast
  Broadcast("ask");
  EXPECT_THAT(notes, ElementsAre("added answer 1", "1", "added answer 2"));
  RemoveListener("answer", added);
}

TEST(Broadcaster, CountsDeliveriesAndTheirTime) {
  ManualClock clock(Timeval::sec(1'000'000));
  const auto slow = recorder([&](const std::string&, const std::any& object) {
    clock.advance(Timeval::nsec(std::any_cast<std::int64_t>(object)));
  });
  const auto quick = recorder([](const std::string&, const std::any&) {});
  AddListener("b", slow);
  AddListener("b", quick);
  AddListener("a", slow);
  Broadcast("b", std::int64_t{5'000'999});
  Broadcast("b", std::int64_t{999}, true);
  drain();
  Broadcast("b", std::int64_t{1'000'000}, true);
  drain();
  const auto stats = broadcasterStats();
  Strings rows;
  for (const auto& row : stats)
    rows.push_back(row.key + " " + std::to_string(row.count) + " " + std::to_string(row.elapsed));
  EXPECT_THAT(rows, ElementsAre("a 0 0", "b 3 6000", "b 3 0"));
  EXPECT_THAT(stats[0].listener, testing::EndsWith("::Recorder"));
  RemoveListeners({"a", "b"}, slow);
  RemoveListener("b", quick);
}

TEST(Broadcaster, ManyThreadsInBothModesLoseNothing) {
  constexpr int THREADS = 4, ROUNDS = 3000;
  std::atomic<int> heard = 0;
  const auto listener = recorder([&](const std::string&, const std::any&) { ++heard; });
  AddListener("busy", listener);
  std::vector<std::thread> threads;
  for (int id = 0; id < THREADS; ++id)
    threads.emplace_back([&, id] {
      const auto own = recorder([](const std::string&, const std::any&) {});
      for (int i = 0; i < ROUNDS; ++i) {
        AddListener("busy", own);
        Broadcast("busy", i, (i + id) % 2 == 0);
        if (i % 50 == 0) broadcasterStats();
        RemoveListener("busy", own);
      }
    });
  for (auto& thread : threads) thread.join();
  drain();
  EXPECT_EQ(heard, THREADS * ROUNDS);
  const auto stats = broadcasterStats();
  ASSERT_EQ(stats.size(), 1U);
  EXPECT_EQ(stats[0].count, THREADS * ROUNDS);
  RemoveListener("busy", listener);
}

TEST(BroadcasterDeath, ForbiddenCallsAndExceptionsAreFatal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::function<void()> call;
  std::shared_ptr<Listener> listener = recorder([&](const std::string&, const std::any&) { call(); });
  AddListener("key", listener);
  const struct {
    const char* message;
    std::function<void()> call;
  } rows[] = {
      {"fatal: AddListener: called by a listener from inside a synchronous broadcast",
       [&] { AddListener("other", listener); }},
      {"fatal: RemoveListener: called by a listener", [&] { RemoveListener("other", listener); }},
      {"fatal: Broadcast: called by a listener", [] { Broadcast("other"); }},
      {"fatal: Broadcast: called by a listener", [] { Broadcast("other", {}, true); }},
      {"fatal: broadcasterStats: called by a listener", [] { broadcasterStats(); }},
      {"fatal: an exception left a listener: spilled", [] { throw std::runtime_error("spilled"); }},
  };
  for (const auto& row : rows) {
    call = row.call;
    EXPECT_DEATH(Broadcast("key"), row.message);
  }
  EXPECT_DEATH((Broadcast("key", {}, true), drain()), "fatal: an exception left a listener: spilled");
  EXPECT_DEATH(AddListener("key", nullptr), "fatal: AddListener: there is no listener");
  call = [] {};
  Broadcast("key");
  std::thread([] { Broadcast("key"); }).join();
  RemoveListener("key", listener);
}

}  // namespace
}  // namespace corvane
