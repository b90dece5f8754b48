#include "apps/inspector/live/LiveView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "apps/inspector/live/Scroll.h"
#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/terminal/Keys.h"
#include "apps/inspector/text/Format.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "tests/inspector/FrameText.h"
#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

void runFor(unsigned seconds) {
  MasterTimer::instance()->start();
  main_after(seconds, MainLoop::quit);
  MainLoop::run();
}

TEST(LiveView, FitsEveryScreen) {
  const TempHome home;
  home.write("sys/class/hwmon/hwmon0/temp1_input", "54000\n");
  LocalSource source(home.path().string());
  runFor(1);
  LiveView view(source, Glyphs::UNICODE);
  for (const int page : {int{'h'}, int{'l'}, int{'b'}, int{'w'}, key::ESCAPE}) {
    view.press(page);
    for (std::size_t rows = 1; rows <= 40; ++rows) {
      for (std::size_t columns = 1; columns <= 130; columns += columns < 90 ? 1 : 13) {
        const Frame frame = view.draw(rows, columns);
        ASSERT_EQ(frame.size(), rows) << columns;
      }
    }
  }
  const std::string text = textOf(view.draw(24, 80));
  for (const char* piece : {"Temperature         54.0 °C", "Processor                 -", "processor load ",
                            "temperature ", "Duration µs", "q quit"})
    EXPECT_NE(text.find(piece), text.npos) << piece << "\n" << text;
  for (const Line& line : view.draw(24, 80)) EXPECT_LE(columnsOf(textOf({line})), 81U) << textOf({line});
}

TEST(LocalSource, ListensToTheReadings) {
  const TempHome home;
  std::optional<LocalSource> source(std::in_place, home.path().string());
  Broadcast("memory", std::optional<double>(7));
  Broadcast("memory", std::optional<double>());
  EXPECT_EQ(source->machine().history(Gauge::MEMORY).range(2)->high, 7);
  EXPECT_EQ(source->machine().history(Gauge::MEMORY).newest(1).front(), std::nullopt);
  const auto listeners = source->listeners();
  EXPECT_EQ(std::ranges::find(listeners, "memory", &broadcaster_stats::key)->count, 2);
  source.reset();
  EXPECT_TRUE(broadcasterStats().empty());
}

TEST(BroadcasterPage, ShowsListenersAndTheLogsFigures) {
  const std::vector<broadcaster_stats> listeners = {
      {"a key that is rather long", "app::(anonymous namespace)::Meter", 1'000'000, 2'500'000}, {"b\n", "Plain", 0, 0}};
  const LogFigures log{"/home/somebody/Library/Logs/a.b.App/App.log", 1234, 2, 56};
  const std::string text = textOf(broadcasterLines(listeners, log, 80, Glyphs::ASCII));
  for (const char* piece :
       {"\na key that is  Meter ", " 1000000    2500000         2.5\n", "\nb?             Plain ", " -\n",
        "Path      /home/somebody/Library/Logs/a.b.App/App.log\n", "Size      1234 bytes; archived above 100000\n",
        "Archives  2 of 11\n", "Lines     56 by this process\n"})
    EXPECT_NE(text.find(piece), text.npos) << piece << "\n" << text;
}

TEST(LiveView, ReadsProcessesOnlyWhileTheyAreShown) {
  const auto isLooking = [] {
    const auto stats = MasterTimer::instance()->repeaterStats();
    return std::ranges::any_of(stats, [](const auto& repeater) { return repeater.name == "process page"; });
  };
  LocalSource source("");
  int changes = 0;
  LiveView view(source, Glyphs::ASCII, [&changes] {
    ++changes;
    MainLoop::quit();
  });
  const auto showsItself = [&view] {
    return textOf(view.draw(100'000, 80)).find("  inspector_test") != std::string::npos;
  };
  MasterTimer::instance()->start();
  for (const int back : {static_cast<int>('p'), key::ESCAPE, static_cast<int>('b')}) {
    view.press('p');
    EXPECT_TRUE(isLooking());
    EXPECT_FALSE(showsItself()) << "the previous rows";
    MainLoop::run();
    EXPECT_TRUE(showsItself());
    view.press(back);
    EXPECT_FALSE(isLooking());
    EXPECT_FALSE(showsItself());
    view.press(key::ESCAPE);
  }
  EXPECT_EQ(changes, 3);

  const TempHome home;
  LocalSource elsewhere(home.path().string());
  LiveView other(elsewhere, Glyphs::ASCII);
  other.press('p');
  EXPECT_FALSE(isLooking());
  EXPECT_NE(textOf(other.draw(24, 80)).find("Only the machine's own processes"), std::string::npos);
}

TEST(LiveView, KeysOfTheOverviewDoWhatTheHelpSays) {
  const TempHome home;
  LocalSource source(home.path().string());
  LiveView view(source, Glyphs::ASCII);
  const auto shows = [&view](std::string_view text) {
    return textOf(view.draw(30, 80)).find(text) != std::string::npos;
  };
  for (const auto& [keys, text] :
       {std::pair("", "Name ^"), std::pair("n", "Name v"), std::pair("c", "v Count"), std::pair("t", "v Total s"),
        std::pair("ii", "^ Interval s"), std::pair("d", "v Duration us"), std::pair("", "averaged over 10 s "),
        std::pair("+", "over 11 s "), std::pair("-[", "over 1 s "), std::pair("]", "over 11 s "),
        std::pair("]]]]]", "over 60 s "), std::pair("n ", "disk throughput (paused)"),
        std::pair("h", "average over 1 s more or less"), std::pair("?", "averaged over"), std::pair("l", "l back"),
        std::pair("b", "Listener")}) {
    for (const char pressed : std::string_view(keys)) EXPECT_EQ(view.press(pressed), LiveView::Request::NONE);
    EXPECT_TRUE(shows(text)) << keys << "\n" << textOf(view.draw(30, 80));
  }
  view.press(key::ESCAPE);
  view.press(key::END);
  EXPECT_TRUE(textOf(view.draw(10, 40)).find("processor load") != std::string::npos) << "the selected one is seen";
  view.press(key::HOME);
  EXPECT_TRUE(textOf(view.draw(10, 40)).find("processor load") == std::string::npos);
  EXPECT_EQ(view.press('q'), LiveView::Request::QUIT);
  EXPECT_EQ(view.press(key::CONTROL_L), LiveView::Request::REDRAW);
  EXPECT_EQ(view.press(key::CONTROL_Z), LiveView::Request::SUSPEND);
}

TEST(Scroll, ScrollsThroughWhatDoesNotFit) {
  const auto shown = [](Scroll& scroll, int count) {
    Frame lines;
    for (int i = 1; i <= count; ++i) lines.push_back({{std::to_string(i)}});
    const std::string text = textOf(scroll.cut(std::move(lines), 3));
    return text + scroll.range();
  };
  Scroll help(Scroll::Start::BEGINNING);
  EXPECT_EQ(shown(help, 3), "1\n2\n3\n");
  for (const auto& [pressed, text] :
       {std::pair(key::UP, "1\n2\n3\n (1-3 of 8)"), std::pair(key::PAGE_DOWN, "4\n5\n6\n (4-6 of 8)"),
        std::pair(key::DOWN, "5\n6\n7\n (5-7 of 8)"), std::pair(key::PAGE_DOWN, "6\n7\n8\n (6-8 of 8)"),
        std::pair(key::PAGE_UP, "3\n4\n5\n (3-5 of 8)"), std::pair(key::END, "6\n7\n8\n (6-8 of 8)")}) {
    shown(help, 8);
    EXPECT_TRUE(help.press(pressed));
    EXPECT_EQ(shown(help, 8), text);
  }
  EXPECT_FALSE(help.press('x'));
  EXPECT_EQ(shown(help, 9), "6\n7\n8\n (6-8 of 9)") << "what is read stays";

  Scroll log(Scroll::Start::END);
  EXPECT_EQ(shown(log, 5), "3\n4\n5\n (3-5 of 5)");
  EXPECT_EQ(shown(log, 6), "4\n5\n6\n (4-6 of 6)") << "the end is followed";
  log.press(key::UP);
  EXPECT_EQ(shown(log, 7), "3\n4\n5\n (3-5 of 7)");
  log.press(key::END);
  EXPECT_EQ(shown(log, 8), "6\n7\n8\n (6-8 of 8)");
}

TEST(Repeaters, APausedOneKeepsItsStatisticsAndStartsAfresh) {
  Repeaters repeaters;
  repeaters.start("fast", 0.01, [] {});
  repeaters.start("other", 0.01, [] {});
  runFor(1);
  repeaters.togglePause("fast");
  repeaters.togglePause("no such task");
  const auto find = [&repeaters] {
    const auto rows = repeaters.rows();
    return *std::ranges::find(rows, "fast", &RepeaterRow::name);
  };
  const RepeaterRow paused = find();
  EXPECT_TRUE(paused.paused);
  EXPECT_GT(paused.count, 1);
  runFor(1);
  EXPECT_EQ(find().count, paused.count);
  EXPECT_EQ(repeaters.rows().size(), 2U);
  repeaters.togglePause("fast");
  EXPECT_FALSE(find().paused);
  EXPECT_LT(find().count, paused.count);
  repeaters.togglePause("fast");
  repeaters.resetStats();
  EXPECT_EQ(find().count, 0);
  EXPECT_TRUE(find().paused);
}

}  // namespace

}  // namespace corvane::inspector
