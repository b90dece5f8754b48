#include "corvane/platform/DiagnosticsPort.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cmath>
#include <sstream>
#include <thread>

#include "corvane/core/Files.h"
#include "corvane/platform/Platform.h"
#include "tests/support/Child.h"
#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string NOT_UTF8 = "n\xffm\xc3\xa9";
const std::string REPAIRED = "n\xef\xbf\xbdm\xc3\xa9";
const std::string NOT_TEXT = std::string("a\0\xff\n", 4);

// A program that shows what is put into it.
struct ShownProgram : Inspectable {
  ProgramIdentity shownIdentity;
  std::vector<RepeaterState> shownRepeaters;
  QueueStates shownQueues;
  std::vector<ListenerState> shownListeners;
  LogState shownLog;
  std::vector<SettingState> shownSettings;
  Recording shownRecording;
  std::atomic<int> watches = 0;
  std::atomic<int> calls = 0;
  std::vector<double> arguments;

  Result<ProgramIdentity> identity() override { return ++calls, shownIdentity; }
  Result<std::vector<RepeaterState>> repeaters() override { return shownRepeaters; }
  Result<QueueStates> queues() override { return shownQueues; }
  Result<std::vector<ListenerState>> listeners() override { return shownListeners; }
  Result<LogState> log(const LogPlace& after, std::size_t limit) override {
    arguments = {double(after.file), double(after.offset), double(limit)};
    return shownLog;
  }
  Result<std::vector<SettingState>> settings() override { return shownSettings; }
  Result<std::shared_ptr<void>> watch() override {
    ++watches;
    return std::shared_ptr<void>(this, [](ShownProgram* self) { --self->watches; });
  }
  Result<Recording> recording(double seconds) override {
    arguments = {seconds};
    return shownRecording;
  }
  Result<LongSpans> longSpans(std::uint64_t since, std::int64_t nsec) override {
    return LongSpans{shownRecording.spans, since + 1, static_cast<std::uint64_t>(nsec)};
  }
  Result<void> resetStats() override { return failure("posix", EPERM, "not \xff allowed"); }
  Result<void> setTimeConstant(double) override { return failure("other", 3, ""); }
  Result<void> setPaused(std::uint64_t id, bool paused) override {
    arguments = {double(id), double(paused)};
    return {};
  }
};

struct DiagnosticsPortTest : testing::Test {
  std::string socketOf(pid_t pid) const { return home / "run/corvane/" + std::to_string(pid); }

  TempHome home;
  DiagnosticsPort& port = platform().diagnosticsPort();
  std::shared_ptr<ShownProgram> shown = std::make_shared<ShownProgram>();
};

template <class T>
std::string errorOf(const Result<T>& result) {
  return result ? "none" : result.error().domain + " " + std::to_string(result.error().code);
}

auto parts(const AverageState& s) {
  return std::tie(s.last, s.smoothed, s.smoothedSquare, s.deviation);
}
auto parts(const RepeaterState& s) {
  return std::tie(s.id, s.name, s.interval, s.timeConstant, s.count, s.totalElapsed, s.elapsed, s.period,
                  s.runningSince, s.isPaused);
}
auto parts(const QueueState& s) {
  return std::tie(s.label, s.depth, s.item, s.runningSince, s.thread);
}
auto parts(const LongestState& s) {
  return std::tie(s.name, s.began, s.duration);
}
auto parts(const TimerState& s) {
  return std::tie(s.label, s.usecs, s.runningSince, s.thread);
}
auto parts(const QueueStates& s) {
  return std::tie(s.main, s.longestWait, s.longestItem, s.serial, s.timers);
}
auto parts(const ListenerState& s) {
  return std::tie(s.key, s.listener, s.count, s.elapsed);
}
auto parts(const ActivitySpan& s) {
  return std::tie(s.kind, s.thread, s.start, s.end, s.waited, s.name, s.item);
}
auto parts(const ProgramIdentity& s) {
  return std::tie(s.identifier, s.name, s.version, s.library, s.executable, s.pid, s.started, s.allowsControl,
                  s.showsSettingValues);
}
auto parts(const LogState& s) {
  return std::tie(s.path, s.size, s.archives, s.lines, s.text, s.place.file, s.place.offset);
}

// Equal for two structures exactly if all that they hold is equal, even what is not a number.
template <class T>
std::string textOf(const T& value) {
  std::string text;
  if constexpr (std::same_as<T, std::string>) {
    text = value;
  } else if constexpr (std::is_enum_v<T>) {
    text = std::to_string(static_cast<int>(value));
  } else if constexpr (std::is_arithmetic_v<T>) {
    text = (std::ostringstream() << +value).str();
  } else if constexpr (requires { value.has_value(); }) {
    text = value ? textOf(*value) : "none";
  } else if constexpr (requires { value.begin(); }) {
    for (const auto& each : value) text += textOf(each) + "\n";
  } else {
    std::apply([&](const auto&... part) { ((text += textOf(part)), ...); }, parts(value));
  }
  return "[" + text + "]";
}

TEST_F(DiagnosticsPortTest, EverythingThatAProgramShowsArrives) {
  const auto handle = port.open(shown).value();
  EXPECT_EQ(errorOf(port.open(shown)), "posix " + std::to_string(EADDRINUSE));
  const auto program = port.connect(getpid()).value();
  const auto expectSame = [&] {
    EXPECT_EQ(textOf(program->identity().value()), textOf(shown->shownIdentity));
    EXPECT_EQ(textOf(program->repeaters().value()), textOf(shown->shownRepeaters));
    EXPECT_EQ(textOf(program->queues().value()), textOf(shown->shownQueues));
    EXPECT_EQ(textOf(program->listeners().value()), textOf(shown->shownListeners));
    EXPECT_EQ(textOf(program->log({5, 6}, 7).value()), textOf(shown->shownLog));
    EXPECT_THAT(shown->arguments, ElementsAre(5, 6, 7));
    EXPECT_EQ(textOf(program->recording(0.5).value().spans), textOf(shown->shownRecording.spans));
    EXPECT_THAT(shown->arguments, ElementsAre(0.5));
  };
  expectSame();
  shown->shownIdentity = {"id", "név", "", "1.2", "/x", getpid(), INT64_MIN, true, false};
  const AverageState odd = {NAN, -INFINITY, 5e-324, -0.0};
  for (std::uint64_t i = 0; i < 10'000; ++i)
    shown->shownRepeaters.push_back({.id = UINT64_MAX - i,  // a greater one first: names must not be mixed up
                                     .name = "repeater " + std::to_string(i),
                                     .interval = 0.25,
                                     .timeConstant = 3,
                                     .count = INT64_MAX,
                                     .totalElapsed = 1e300,
                                     .elapsed = odd,
                                     .period = {1, 2, 3, 4},
                                     .runningSince = -1,
                                     .isPaused = i % 2 == 0});
  shown->shownQueues = {
      {"main", SIZE_MAX, "type", 1, 2}, {"wait", 2, 3}, {"item", 4, 5}, {{"q", 6, "", 7, 8}, {}}, {{"t", 8, 9, 10}},
  };
  shown->shownListeners = {{"key", "Class", 1, 2}, {}};
  shown->shownLog = {"/log", 0, 1, 2, NOT_TEXT, {UINT64_MAX, 4}};
  using Kind = ActivitySpan::Kind;
  shown->shownRecording = {{{Kind::TIMER, UINT32_MAX, 1, 2, 3, "same", ""}, {Kind::REPEATER, 1, 4, 5, 6, "", "same"}},
                           9};
  expectSame();
  shown->shownRepeaters.front().id = 3;
  shown->shownRepeaters.front().name = "older, but started later";
  expectSame();
  EXPECT_EQ(program->recording(1).value().lost, 9U);
  const LongSpans spans = program->longSpans(UINT64_MAX - 1, 5).value();
  EXPECT_EQ(textOf(spans.spans), textOf(shown->shownRecording.spans));
  EXPECT_EQ(spans.next, UINT64_MAX);
  EXPECT_EQ(spans.lost, 5U);
  EXPECT_TRUE(program->setPaused(4, true));
  EXPECT_THAT(shown->arguments, ElementsAre(4, 1));
  EXPECT_EQ(errorOf(program->resetStats()), "posix " + std::to_string(EPERM));
  EXPECT_THAT(program->resetStats().error().description, "not \xef\xbf\xbd allowed");
  EXPECT_EQ(errorOf(program->setTimeConstant(1)), "org.corvane.Diagnostics1.Error.Failed 0");
  shown->shownIdentity.name = NOT_UTF8;
  shown->shownIdentity.identifier = NOT_TEXT;
  EXPECT_EQ(program->identity()->name, REPAIRED);
  EXPECT_EQ(program->identity()->identifier, "a\xef\xbf\xbd\n");
}

TEST_F(DiagnosticsPortTest, SettingsArriveWithTheValuesThatAreShown) {
  Value deep = 1;
  for (int i = 0; i < 30; ++i) deep = Value::Array{deep};
  const Value all = Value::Dictionary{
      {"", Value::Array{1, 1.5, true, "text", Value::Dictionary{}}}, {"data", Data{{0, 255}}}, {"date", Date{-0.5}}};
  shown->shownSettings = {{"a", all}, {"b", std::nullopt}, {"c", deep}, {"d", NOT_UTF8}, {"e", 7}};
  const auto handle = port.open(shown).value();
  const auto settings = port.connect(getpid()).value()->settings().value();
  ASSERT_EQ(settings.size(), 5U);
  EXPECT_EQ(settings[0].value, all);
  EXPECT_EQ(settings[1].value, std::nullopt);
  EXPECT_EQ(settings[2].value, std::nullopt) << "has too many levels for D-Bus";
  EXPECT_EQ(settings[3].value, Value(REPAIRED));
  EXPECT_EQ(settings[4].key, "e");
}

}  // namespace
}  // namespace corvane
