#include "apps/inspector/live/LiveView.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <regex>

#include "apps/inspector/live/BroadcasterPage.h"
#include "apps/inspector/live/MainLoopSource.h"
#include "apps/inspector/terminal/HeldStderr.h"
#include "apps/inspector/terminal/Screen.h"
#include "apps/inspector/text/Format.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "tests/inspector/FrameText.h"
#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

void runFor(unsigned seconds) {
  MasterTimer::instance()->start();
  const auto end = MainLoopSource::after(seconds, MainLoop::quit);
  MainLoop::run();
}

TEST(LiveView, FitsEveryScreen) {
  const TempHome home;
  home.write("sys/class/hwmon/hwmon0/temp1_input", "54000\n");
  Monitor monitor(home.path().string());
  runFor(1);
  LiveView view(monitor, Glyphs::UNICODE);
  for (const int page : {static_cast<int>('h'), static_cast<int>('l'), static_cast<int>('b'), key::ESCAPE}) {
    view.press(page);
    for (std::size_t rows = 1; rows <= 40; ++rows) {
      for (std::size_t columns = 1; columns <= 130; columns += columns < 90 ? 1 : 13) {
        const Frame frame = view.compose(rows, columns);
        ASSERT_FALSE(frame.empty());
        if (page == key::ESCAPE) {
          ASSERT_LE(frame.size(), rows) << columns;
        }
      }
    }
  }
  const std::string text = textOf(view.compose(24, 80));
  for (const char* piece : {"Temperature         54.0 °C", "Processor                 -", "processor load ",
                            "temperature ", "Duration µs", "q quit"})
    EXPECT_NE(text.find(piece), text.npos) << piece << "\n" << text;
  for (const Line& line : view.compose(24, 80)) EXPECT_LE(columnsOf(textOf({line})), 81U) << textOf({line});
}

TEST(LiveView, BroadcasterPageShowsWhatWasBroadcast) {
  const TempHome home;
  std::optional<Monitor> monitor(std::in_place, home.path().string());
  LiveView view(*monitor, Glyphs::UNICODE);
  view.press('b');
  const auto count = [&view](const std::string& key) {
    const std::string text = textOf(view.compose(24, 80));
    std::smatch match;
    const std::regex row("\\n" + key + " +(\\S+) +(\\d+) +\\d+ +[\\d.-]+ *\\n");
    return std::regex_search(text, match, row) ? match[1].str() + " " + match[2].str() : text;
  };
  EXPECT_EQ(count("memory"), "History 0");
  Broadcast("memory", std::optional<double>(7));
  Broadcast("memory", std::optional<double>());
  EXPECT_EQ(count("memory"), "History 2");
  EXPECT_EQ(count("disk read"), "History 0");
  EXPECT_EQ(count("heartbeat"), "HeartbeatLog 0");
  EXPECT_EQ(monitor->history(Gauge::MEMORY).range(2)->high, 7);
  EXPECT_EQ(monitor->history(Gauge::MEMORY).latest(), std::nullopt);
  EXPECT_NE(textOf(view.compose(24, 80)).find("This program keeps no log."), std::string::npos);
  monitor.reset();
  EXPECT_TRUE(broadcasterStats().empty());
}

TEST(BroadcasterPage, FitsNarrowScreensAndShowsTheLogsFigures) {
  const std::vector<broadcaster_stats> listeners = {
      {"a key that is rather long", "app::(anonymous namespace)::Meter", 1'000'000, 2'500'000}, {"b\n", "Plain", 0, 0}};
  const LogFigures log{"/home/somebody/Library/Logs/a.b.App/App.log", 1234, 2, 56};
  for (std::size_t columns = 1; columns < 130; ++columns) {
    const Frame frame = broadcasterPage(listeners, log, columns, Glyphs::ASCII);
    for (std::size_t i = 1; i < 4; ++i) EXPECT_LE(textOf({frame[i]}).size(), columns + 1);
    const std::string text = textOf(frame);
    EXPECT_EQ(text.find("1000000") != text.npos, columns >= 30) << text;
    EXPECT_EQ(text.find(" 2500000 ") != text.npos, columns >= 60) << text;
    EXPECT_EQ(text.find(" 2.5\n") != text.npos, columns >= 40) << text;
    EXPECT_EQ(text.find("  Meter ") != text.npos, columns >= 48) << text;
  }
  const std::string text = textOf(broadcasterPage(listeners, log, 80, Glyphs::ASCII));
  for (const char* piece :
       {"\nb?             Plain ", " -\n", "Path      /home/somebody/Library/Logs/a.b.App/App.log\n",
        "Size      1234 bytes; archived above 100000\n", "Archives  2 of 11\n", "Lines     56 by this process\n"})
    EXPECT_NE(text.find(piece), text.npos) << piece << "\n" << text;
}

TEST(LiveView, LooksAtProcessesOnlyWhileTheyAreShown) {
  const auto isLooking = [] {
    const auto stats = MasterTimer::instance()->repeaterStats();
    return std::ranges::any_of(stats, [](const auto& repeater) { return repeater.name == "process page"; });
  };
  Monitor monitor("");
  int changes = 0;
  LiveView view(monitor, Glyphs::ASCII, [&changes] {
    ++changes;
    MainLoop::quit();
  });
  const auto showsItself = [&view] {
    return textOf(view.compose(100'000, 80)).find("  inspector_test") != std::string::npos;
  };
  MasterTimer::instance()->start();
  for (const int back : {static_cast<int>('p'), key::ESCAPE, static_cast<int>('b')}) {
    view.press('p');
    EXPECT_TRUE(isLooking());
    EXPECT_FALSE(showsItself()) << "the rows of the last time";
    MainLoop::run();
    EXPECT_TRUE(showsItself());
    view.press(back);
    EXPECT_FALSE(isLooking());
    EXPECT_FALSE(showsItself());
    view.press(key::ESCAPE);
  }
  EXPECT_EQ(changes, 3);

  const TempHome home;
  Monitor elsewhere(home.path().string());
  LiveView other(elsewhere, Glyphs::ASCII);
  other.press('p');
  EXPECT_FALSE(isLooking());
  EXPECT_NE(textOf(other.compose(24, 80)).find("Only the machine's own processes"), std::string::npos);
}

TEST(LiveView, SelectedRepeaterIsSeenOnASmallScreen) {
  const TempHome home;
  Monitor monitor(home.path().string());
  LiveView view(monitor, Glyphs::ASCII);
  view.compose(10, 40);
  view.press(key::END);
  EXPECT_NE(textOf(view.compose(10, 40)).find("processor load"), std::string::npos);
  view.press(key::HOME);
  EXPECT_EQ(textOf(view.compose(10, 40)).find("processor load"), std::string::npos);
}

TEST(Tasks, PausedOneKeepsItsStatisticsAndStartsAfresh) {
  Tasks tasks;
  tasks.start("fast", 0.01, [] {});
  tasks.start("other", 0.01, [] {});
  runFor(1);
  tasks.togglePause("fast");
  tasks.togglePause("no such task");
  const auto find = [&tasks] {
    for (const TaskRow& row : tasks.rows()) {
      if (row.name == "fast") return row;
    }
    return TaskRow();
  };
  const TaskRow paused = find();
  EXPECT_TRUE(paused.paused);
  EXPECT_GT(paused.count, 1);
  runFor(1);
  EXPECT_EQ(find().count, paused.count);
  EXPECT_EQ(tasks.rows().size(), 2U);
  tasks.togglePause("fast");
  EXPECT_FALSE(find().paused);
  EXPECT_LT(find().count, paused.count);
  tasks.togglePause("fast");
  tasks.resetStats();
  EXPECT_EQ(find().count, 0);
  EXPECT_TRUE(find().paused);
}

TEST(Tasks, TimeConstantStaysInItsLimits) {
  Tasks tasks;
  tasks.setTimeConstant(0);
  EXPECT_EQ(tasks.timeConstant(), 1);
  tasks.setTimeConstant(61);
  EXPECT_EQ(tasks.timeConstant(), 60);
}

TEST(HeldStderr, HoldsBackFromATerminalAndBoundsAFlood) {
  int terminal = -1;
  int program = -1;
  ASSERT_EQ(openpty(&terminal, &program, nullptr, nullptr, nullptr), 0);
  const int original = dup(STDERR_FILENO);
  dup2(program, STDERR_FILENO);
  ssize_t lastWrite = 0;
  int waiting = -1;
  {
    const HeldStderr held;
    std::fputs("kept line\n", stderr);
    const std::string much(std::size_t{1} << 19U, '\0');
    for (int i = 0; i < 4; ++i) lastWrite = write(STDERR_FILENO, much.data(), much.size());
    EXPECT_EQ(lseek(STDERR_FILENO, 10, SEEK_SET), 10) << "only the line is to be written out";
    ioctl(terminal, FIONREAD, &waiting);
  }
  std::string shown(64, ' ');
  const ssize_t got = read(terminal, shown.data(), shown.size());
  dup2(original, STDERR_FILENO);
  close(original);
  close(program);
  close(terminal);
  EXPECT_EQ(waiting, 0);
  EXPECT_LT(lastWrite, 0);
  EXPECT_EQ(shown.substr(0, static_cast<std::size_t>(std::max<ssize_t>(got, 0))), "kept line\r\n");
}

}  // namespace

}  // namespace corvane::inspector
