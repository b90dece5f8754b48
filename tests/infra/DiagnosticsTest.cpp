#include "corvane/infra/Diagnostics.h"

#include <errno.h>
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "corvane/core/Activity.h"
#include "corvane/core/Clock.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/infra/Logger.h"
#include "corvane/infra/settings/UserDefaults.h"
#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/Pump.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;
using Kind = ActivitySpan::Kind;

constexpr std::int64_t MSEC = 1'000'000;

struct DiagnosticsTest : Test {
  DiagnosticsTest() { identify({{"CFBundleIdentifier", "a.b.App"}, {"CFBundleShortVersionString", "1.2"}}); }

  void identify(const Value::Dictionary& info) {
    fake.emplace(home.path().string());
    fake->bundles->main.info = infoPlist(info);
    fake->bundles->main.executable = "/opt/bin/the app";
  }

  TempHome home;
  std::optional<FakePlatform> fake;
  const std::shared_ptr<Inspectable> own = Diagnostics::program();
};

std::vector<std::string> namesOf(const std::vector<ActivitySpan>& spans) {
  std::vector<std::string> names;
  for (const ActivitySpan& span : spans) names.push_back(span.name);
  return names;
}

void keepBusy(std::int64_t nsec) {
  for (const std::int64_t end = Clock::now() + nsec; Clock::now() < end;) {
  }
}

TEST_F(DiagnosticsTest, OthersGetInOnlyAfterStartAndMayDoOnlyWhatIsAllowed) {
  EXPECT_EQ(fake->diagnosticsPort->opened(), nullptr);
  fake->diagnosticsPort->error = Error{"posix", ENOSPC, "no room"};
  EXPECT_EQ(Diagnostics::start().error().code, ENOSPC);
  fake->diagnosticsPort->error.reset();
  ASSERT_TRUE(Diagnostics::start());
  const auto shown = fake->diagnosticsPort->opened();
  ASSERT_NE(shown, nullptr);
  static_cast<void>(UserDefaults::shared()->set("color", "red"));
  const auto value = [](Inspectable& program) { return program.settings().value().front().value; };
  const auto repeater = std::make_shared<Repeater>("clock");
  repeater->start(3600, [] {});
  const std::uint64_t id = own->repeaters()->front().id;
  EXPECT_EQ(shown->settings()->front().key, "color");
  EXPECT_EQ(value(*shown), std::nullopt);
  EXPECT_EQ(value(*own), Value("red"));
  EXPECT_EQ(shown->resetStats().error().code, EPERM);
  EXPECT_EQ(shown->setTimeConstant(5).error().code, EPERM);
  EXPECT_EQ(shown->setPaused(id, true).error().code, EPERM);
  ASSERT_TRUE(Diagnostics::start(Diagnostics::Control | Diagnostics::SettingValues)) << "others stay connected";
  EXPECT_TRUE(shown->identity()->allowsControl);
  EXPECT_EQ(value(*shown), Value("red"));
  EXPECT_TRUE(shown->setPaused(id, true));
  EXPECT_TRUE(own->repeaters()->front().isPaused);
  EXPECT_EQ(shown->setPaused(id + 1, true).error().code, ENOENT);
  EXPECT_TRUE(shown->setTimeConstant(5));
  EXPECT_EQ(own->repeaters()->front().timeConstant, 5);
  for (const double bad : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()})
    EXPECT_EQ(shown->setTimeConstant(bad).error().code, EINVAL) << bad;
  Diagnostics::stop();
  EXPECT_EQ(fake->diagnosticsPort->opened(), nullptr);
}

TEST_F(DiagnosticsTest, AProgramWithoutAnIdentifierCanBeLookedAt) {
  fake.emplace(home.path().string());
  fake->bundles->main.executable = "/opt/bin/the app";
  EXPECT_EQ(own->identity()->name, "the app");
  EXPECT_EQ(own->identity()->pid, getpid());
  EXPECT_LE(own->identity()->started, Clock::now());
  EXPECT_EQ(own->log({}, 1000)->path, "");
  identify({{"CFBundleIdentifier", "a.b.App"}});
  EXPECT_EQ(own->log({}, 1000)->path, home / "Library/Logs/a.b.App/App.log");
  EXPECT_TRUE(own->settings()->empty());
  EXPECT_EQ(Logger::existing(), nullptr) << "looking opens no log";
  EXPECT_FALSE(fs::exists(home / "Library"));
}

TEST_F(DiagnosticsTest, WhatHeldUpTheMainQueueIsTold) {
  const auto watched = own->watch();
  const auto since = own->longSpans(0, 20 * MSEC)->next;
  MasterTimer::instance()->start();
  const auto slow = std::make_shared<Repeater>("slow");
  std::vector<ActivitySpan> inside;
  slow->start(3600, [&] {
    main_post([] {});
    keepBusy(40 * MSEC);
    inside = own->longSpans(since, 20 * MSEC)->spans;
  });
  ASSERT_TRUE(pumpUntil([&] { return slow->running() && own->repeaters()->front().count == 1; }));
  pump();
  const auto after = own->longSpans(since, 20 * MSEC).value();
  for (const auto& spans : {inside, after.spans})
    EXPECT_THAT(namesOf(spans), ElementsAre("slow")) << "neither the item nor the turn of the loop around it";
  EXPECT_EQ(inside[0].end, 0);
  EXPECT_GE(after.spans[0].end - after.spans[0].start, 40 * MSEC);
  EXPECT_TRUE(own->longSpans(after.next, 20 * MSEC)->spans.empty()) << "once";
  const QueueStates queues = own->queues().value();
  EXPECT_EQ(queues.longestItem.name, "slow");
  EXPECT_GE(queues.longestItem.duration, 40 * MSEC);
  EXPECT_EQ(queues.longestWait.name, "slow");
  EXPECT_GE(queues.longestWait.duration, 39 * MSEC);
  slow->stop();
}

// The spans of a test that has no main loop.
struct SpansTest : DiagnosticsTest {
  void note(Kind kind, std::int64_t from, std::int64_t to, std::string_view name, std::int64_t waited = 0) {
    clock.set(Timeval::nsec(begin + to));
    const std::type_info* const type = kind == Kind::MAIN_ITEM ? &typeid(int) : nullptr;
    Activity::note(kind, begin + from, begin + to, name, type, waited);
  }

  std::vector<std::string> longNames(std::uint64_t since) { return namesOf(own->longSpans(since, 100)->spans); }

  static constexpr std::int64_t USEC = 1000;
  static constexpr std::int64_t SECOND = 1000 * MSEC;
  const std::int64_t begin = 1'000'000 * SECOND;
  ManualClock clock{Timeval::nsec(begin)};
  const Activity::Watch watch;
};

TEST_F(SpansTest, APartThatWasToldBeforeIsNotToldAgainWithTheWhole) {
  const std::uint64_t first = own->longSpans(0, 100)->next;
  note(Kind::REPEATER, 10, 120, "part");
  EXPECT_THAT(longNames(first), ElementsAre("part"));
  const std::uint64_t second = own->longSpans(first, 100)->next;
  for (int i = 0; i < 3000; ++i) note(Kind::REPEATER, 120 + i, 121 + i, "short");
  note(Kind::MAIN_ITEM, 0, 4000, "");
  note(Kind::QUEUE_ITEM, 0, 9000, "not on the main thread");
  EXPECT_THAT(longNames(second), ElementsAre());
  note(Kind::MAIN_ITEM, 5000, 5100, "");
  note(Kind::MAIN_LOOP, 0, 5200, "");
  EXPECT_THAT(longNames(second), ElementsAre("int"));
  EXPECT_EQ(own->longSpans(1, 0).error().code, EINVAL);
}

TEST_F(SpansTest, TheLongestOfAMinuteAreForgottenAfterIt) {
  static_cast<void>(own->queues());
  note(Kind::REPEATER, 0, 70 * USEC, "first");
  note(Kind::REPEATER, 70 * USEC, 90 * USEC, "second");
  note(Kind::MAIN_ITEM, 0, 100 * USEC, "");
  note(Kind::REPEATER, SECOND, SECOND + 30 * USEC, "first");
  note(Kind::REPEATER, SECOND + 30 * USEC, SECOND + 60 * USEC, "second");
  note(Kind::MAIN_ITEM, SECOND, SECOND + 80 * USEC, "", 50 * USEC);
  const auto item = [this] { return own->queues()->longestItem; };
  EXPECT_EQ(item().name, "first");
  EXPECT_EQ(item().duration, 100 * USEC);
  clock.set(Timeval::nsec(begin + 60 * SECOND));
  EXPECT_EQ(item().name, "int") << "no repeater took most of it";
  EXPECT_EQ(item().began, begin + SECOND);
  EXPECT_EQ(item().duration, 80 * USEC);
  EXPECT_EQ(own->queues()->longestWait.duration, 50 * USEC);
  clock.set(Timeval::nsec(begin + 61 * SECOND));
  EXPECT_EQ(item().duration, 0);
}

TEST_F(SpansTest, ARecordingGoesAsFarBackAsAskedAndTellsWhatIsLost) {
  note(Kind::MAIN_ITEM, 0, SECOND, "");
  note(Kind::TIMER, 2 * SECOND, 3 * SECOND, "kept");
  const auto recorded = [this](double seconds) { return namesOf(own->recording(seconds)->spans); };
  EXPECT_THAT(recorded(1.5), ElementsAre("kept"));
  EXPECT_THAT(recorded(1e300), Contains("int"));
  EXPECT_EQ(own->recording(10)->lost, 0U);
  for (std::int64_t i = 0; i < 200'000; ++i)
    note(Kind::TIMER, 4 * SECOND + i * 1000, 4 * SECOND + i * 1000 + 10, "many");
  EXPECT_EQ(own->recording(0.1)->lost, 0U);
  EXPECT_NEAR(static_cast<double>(own->recording(0.2)->lost), 200'000.0 - Activity::CAPACITY, 10);
  for (const double bad : {-1.0, std::nan("")}) {
    EXPECT_EQ(own->recording(bad).error().code, EINVAL);
    EXPECT_EQ(Diagnostics::record(bad).error().code, EINVAL);
  }
  EXPECT_EQ(Diagnostics::record(std::numeric_limits<double>::infinity()).error().code, EINVAL);
}

TEST_F(DiagnosticsTest, TheLogIsFollowedThroughItsRotations) {
  const std::string log = home / "Library/Logs/a.b.App/App.log";
  const auto write = [&](const std::string& text) { std::ofstream(log, std::ios::app) << text; };
  const auto rotate = [&] {
    fs::rename(log + ".0", log + ".1");
    fs::rename(log, log + ".0");
  };
  home.write("Library/Logs/a.b.App/App.log.0", "older\n");
  write("one\ntwo\n");
  LogState state = own->log({}, 7).value();
  EXPECT_EQ(state.text, "two\n") << "from the first whole line";
  EXPECT_EQ(state.size, 8U);
  EXPECT_EQ(state.archives, 1);
  const auto next = [&] {
    state = own->log(state.place, SIZE_MAX).value();
    return state.text;
  };
  EXPECT_EQ(next(), "");
  write("three\n");
  rotate();
  EXPECT_EQ(next(), "three\n") << "there is no new file yet";
  EXPECT_EQ(state.size, std::nullopt);
  std::ofstream(log + ".0", std::ios::app) << "four\n";
  write("five\n");
  rotate();
  write("six\n");
  EXPECT_EQ(next(), "four\nfive\nsix\n");
  EXPECT_EQ(next(), "");
  std::ofstream(log) << "new\n";
  EXPECT_EQ(own->log({state.place.file, 1000}, 100)->text, "new\n") << "it is shorter now";
  fs::remove(log);
  EXPECT_EQ(own->log({~0U, 3}, 100)->text, "five\n") << "the place is gone: the newest there is";
}

}  // namespace
}  // namespace corvane
