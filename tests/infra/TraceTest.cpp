#include "corvane/infra/Trace.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/TimerQueue.h"
#include "corvane/infra/Diagnostics.h"
#include "tests/support/Pump.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

// Whether the checker of the format takes the text, and finds events with the names.
bool isTrace(const TempHome& home, const std::string& text, const std::string& names = {}) {
  const std::string file = home.write("trace.json", text);
  return std::system((std::string(CHECK_TRACE) + " " + file + names + " 2>>" + home / "errors").c_str()) == 0;
}

TEST(Trace, OfARealProgramIsWhatViewersTake) {
  const TempHome home;
  EXPECT_TRUE(isTrace(home, Diagnostics::trace())) << "nothing is recorded";
  ASSERT_TRUE(Diagnostics::record(60));
  MasterTimer::instance()->start();
  const auto repeater = std::make_shared<Repeater>("a \"b\"\\\n\x01\xff");
  repeater->start(0.001, [] {});
  const auto timer = std::make_shared<TimerQueue>("timer", 0.002, nullptr, [] {});
  timer->start();
  DispatchQueueSerial queue("queue", QoS::DEFAULT);
  std::string inside;
  int runs = 0;
  const auto other = std::make_shared<Repeater>("other");
  other->start(0.005, [&] {
    queue.async([] {});
    if (++runs == 20) inside = Diagnostics::trace();
  });
  ASSERT_TRUE(pumpUntil([&] { return runs > 20; }));
  timer->stop();
  for (const auto& each : {repeater, other}) each->stop();
  for (const std::string& trace : {inside, Diagnostics::trace()})
    EXPECT_TRUE(isTrace(home, trace, " other queue timer turn")) << contentOf(home / "errors");
  EXPECT_THAT(inside, HasSubstr(R"({"ph":"B","name":"other","cat":"repeater")")) << "it runs";
  EXPECT_THAT(inside, HasSubstr("\"main thread\""));
  EXPECT_TRUE(Diagnostics::record(0));
  EXPECT_THAT(Diagnostics::trace(), Not(HasSubstr("repeater")));
}

TEST(Trace, TheCheckerFindsWhatIsWrong) {
  const TempHome home;
  const ProgramIdentity program;
  const auto span = [](std::int64_t start, std::int64_t end) {
    return ActivitySpan{.thread = 3, .start = start, .end = end, .name = {}, .item = {}};
  };
  const Recording recording{.spans = {span(2'000'000'000'000'002'001, 2'000'000'000'000'003'001),
                                      span(2'000'000'000'000'001'000, 2'000'000'000'000'005'999)},
                            .lost = 4};
  const std::string good = traceJson(program, recording);
  EXPECT_THAT(good, HasSubstr(R"("ts":1.001,"dur":1.000})"));
  EXPECT_THAT(good, HasSubstr(R"("lost":4)"));
  ASSERT_TRUE(isTrace(home, good)) << contentOf(home / "errors");
  for (const auto& [part, broken] : {std::pair{"}}", "}"},
                                     {"\"tid\":3", "\"tid\":\"3\""},
                                     {"\"dur\":1.0", "\"dur\":-1.0"},
                                     {"\"dur\":1.0", "\"dur\":9.0"},
                                     {"thread_name", "thread_sort_index"},
                                     {"\"ph\":\"X\"", "\"ph\":\"Y\""},
                                     {"process_name", "thread_name"}}) {
    std::string bad = good;
    bad.replace(bad.find(part), std::string_view(part).size(), broken);
    EXPECT_FALSE(isTrace(home, bad)) << broken;
  }
  EXPECT_FALSE(isTrace(home, good, " missing"));
}

}  // namespace
}  // namespace corvane
