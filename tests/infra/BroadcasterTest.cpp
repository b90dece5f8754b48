#include "corvane/infra/Broadcaster.h"

#include <gmock/gmock.h>

#include <latch>
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

std::shared_ptr<Recorder> recorder(Recorder::Action action = [](const auto&, const auto&) {}) {
  return std::make_shared<Recorder>(std::move(action));
}

// Records "NAME key value" for what it receives.
std::shared_ptr<Listener> noting(Strings& notes, const std::string& name) {
  return recorder([&notes, name](const std::string& key, const std::any& object) {
    const int* number = std::any_cast<int>(&object);
    notes.push_back(name + " " + key + " " + (number ? std::to_string(*number) : object.has_value() ? "?" : "-"));
  });
}

// Returns when what was broadcast asynchronously before has been delivered.
void drain() {
  std::latch reached(1);
  const auto last = Listen("drain", [&](auto, const auto&) { reached.count_down(); });
  Broadcast("drain", {}, true);
  reached.wait();
}

TEST(Broadcaster, DeliversInOrderOfRegistrationToTheListenersOfTheKey) {
  Strings notes;
  const auto a = noting(notes, "a"), b = noting(notes, "b"), c = noting(notes, "c");
  AddListeners({"one", "two"}, a);
  for (const auto& listener : {b, a, c}) AddListener("one", listener);
  for (const bool async : {false, true}) {
    notes.clear();
    Broadcast("one", 1, async);
    Broadcast("two", std::string("text"), async);
    Broadcast("none", 1, async);
    Broadcast("one", {}, async);
    drain();
    EXPECT_THAT(notes, ElementsAre("a one 1", "b one 1", "a one 1", "c one 1", "a two ?", "a one -", "b one -",
                                   "a one -", "c one -"));
  }

  notes.clear();
  for (const auto& [key, listener] : {std::pair{"one", a}, {"none", a}, {"two", b}, {"two", {}}})
    RemoveListener(key, listener);
  Broadcast("one", 2);
  Broadcast("two", 2);
  EXPECT_THAT(notes, ElementsAre("b one 2", "c one 2", "a two 2")) << "both registrations of a are gone, no other";
  for (const auto& listener : {a, b, c}) RemoveListeners({"two", "one"}, listener);
  EXPECT_TRUE(broadcasterStats().empty());
}

TEST(Broadcaster, SynchronousIsOnThisThreadAsynchronousOnTheQueueLaterWithACopyOfTheValue) {
  std::latch release(1);
  std::vector<std::thread::id> threads;
  Strings heard;
  const auto gate = Listen("gate", [&](auto, const auto&) { release.wait(); });
  auto listener = recorder([&](const std::string&, const std::any& object) {
    threads.push_back(std::this_thread::get_id());
    heard.push_back(std::any_cast<std::string>(object));
  });
  const std::weak_ptr<Listener> weak = listener;
  AddListener("key", listener);
  Broadcast("gate", {}, true);  // returns, though its delivery cannot
  std::any value = std::string("queued");
  Broadcast("key", value, true);
  value = std::string("at once");
  Broadcast("key", value);
  RemoveListener("key", std::move(listener));
  Broadcast("key", value, true);
  EXPECT_THAT(heard, ElementsAre("at once"));
  EXPECT_FALSE(weak.expired()) << "a queued delivery keeps its listener";
  release.count_down();
  drain();
  EXPECT_THAT(heard, ElementsAre("at once", "queued")) << "removal takes nothing back, and stops what comes after it";
  EXPECT_EQ(threads[0], std::this_thread::get_id());
  EXPECT_NE(threads[1], threads[0]);
  EXPECT_TRUE(weak.expired());
}

TEST(Broadcaster, RegistrationsHoldTheirListenersAndDestructorsMayCall) {
  Strings notes;
  const auto other = noting(notes, "other");
  auto listener = recorder();
  listener->atEnd = [&] { Broadcast("key", 1); };
  const std::shared_ptr<Listener> onlyItsName(std::shared_ptr<void>(), listener.get());
  AddListener("key", other);
  AddListener("key", std::move(listener));
  Broadcast("key", 0);
  RemoveListener("key", onlyItsName);
  EXPECT_THAT(notes, ElementsAre("other key 0", "other key 1"));
  RemoveListener("key", other);
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
  });
  AddListener("ask", once);
  for (int i = 0; i < 2; ++i) Broadcast("ask", {}, true), drain();
  EXPECT_THAT(notes, ElementsAre("added answer 1", "added answer 2"));
  RemoveListener("answer", added);
}

TEST(Broadcaster, AFunctionListensForAsLongAsItsHandleLives) {
  std::latch release(1);
  const auto gate = Listen("gate", [&](auto, const auto&) { release.wait(); });
  Strings heard;
  const auto note = [&heard](std::string_view key, const std::any& object) {
    heard.push_back(std::string(key) + " " + std::to_string(std::any_cast<int>(object)));
  };
  Subscription first = Listen("key", note), second;
  second = std::move(first);
  first.reset();
  Broadcast("key", 1);
  EXPECT_THAT(heard, ElementsAre("key 1"));
  EXPECT_THAT(broadcasterStats().back().listener, testing::HasSubstr("TestBody()"));  // where it is written
  Broadcast("gate", {}, true);
  Broadcast("key", 2, true);
  second = Listen("key", note);  // the queued broadcast is not for it, and no longer for the first
  Broadcast("key", 3, true);
  release.count_down();
  drain();
  EXPECT_THAT(heard, ElementsAre("key 1", "key 3"));
  second.reset();
  Broadcast("key", 4);
  EXPECT_EQ(heard.size(), 2U);
}

TEST(Broadcaster, CountsDeliveriesAndTheirTime) {
  ManualClock clock(Timeval::sec(1'000'000));
  const auto slow = [&](auto, const std::any& object) {
    clock.advance(Timeval::nsec(std::any_cast<std::int64_t>(object)));
  };
  const auto first = Listen("b", slow), second = Listen("b", [](auto, const auto&) { broadcasterStats(); }),
             other = Listen("a", slow);
  Broadcast("b", std::int64_t{5'000'999});
  Broadcast("b", std::int64_t{1'000'999}, true);
  drain();
  Strings rows;
  for (const auto& row : broadcasterStats())
    rows.push_back(row.key + " " + std::to_string(row.count) + " " + std::to_string(row.elapsed));
  EXPECT_THAT(rows, ElementsAre("a 0 0", "b 2 6000", "b 2 0"));
}

TEST(Broadcaster, ManyThreadsInBothModesLoseNothing) {
  constexpr int THREADS = 4, ROUNDS = 3000;
  std::atomic<int> heard = 0;
  const auto counter = Listen("busy", [&](auto, const auto&) { ++heard; });
  std::vector<std::jthread> threads;
  for (int id = 0; id < THREADS; ++id)
    threads.emplace_back([id] {
      const auto own = recorder();
      for (int i = 0; i < ROUNDS; ++i) {
        AddListener("busy", own);
        Broadcast("busy", i, (i + id) % 2 == 0);
        if (i % 50 == 0) broadcasterStats();
        RemoveListener("busy", own);
      }
    });
  threads.clear();
  drain();
  EXPECT_EQ(heard, THREADS * ROUNDS);
  EXPECT_EQ(broadcasterStats().at(0).count, THREADS * ROUNDS);
}

TEST(BroadcasterDeath, ForbiddenCallsAndExceptionsAreFatal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::function<void()> call;
  const std::shared_ptr<Listener> listener = recorder([&](const auto&, const auto&) { call(); });
  AddListener("key", listener);
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"fatal: AddListener: called by a listener", [&] { AddListener("other", listener); }},
      {"fatal: RemoveListener: called by a listener", [&] { RemoveListener("other", listener); }},
      {"fatal: Broadcast: called by a listener", [] { Broadcast("other", {}, true); }},
      {"fatal: an exception left a listener: spilled", [] { throw std::runtime_error("spilled"); }}};
  for (const auto& [message, forbidden] : rows) {
    call = forbidden;
    EXPECT_DEATH(Broadcast("key"), message);
  }
  EXPECT_DEATH(AddListener("key", nullptr), "fatal: AddListener: there is no listener");
}

}  // namespace
}  // namespace corvane
