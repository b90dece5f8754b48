#include "corvane/ui/ScreenWindow.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCloseEvent>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/RectText.h"
#include "corvane/ui/Screen.h"
#include "tests/support/Displays.h"

namespace corvane {
namespace {

std::string stored(const char* key) {
  return Defaults.loadString(key, "none");
}

bool restores(ScreenWindow& window, const char* name = "Log") {
  window.setWindowTitle("Log");
  return window.setFrameAutosaveName(name);
}

// Of the three screens the left one is "Wide 34 3992977671", the one below it "Unknown 0".
class ScreenWindowTest : public testing::Test {
 protected:
  ScreenWindowTest() {
    for (const auto& [connector, name] : {std::pair("/card0-DP-1", "Wide 34"), {"/card0-eDP-1", ""}})
      fake.deviceRegistry->devices.push_back(
          {"", {"IODisplayConnect"}, {{"DEVPATH", connector}, {"IODisplayEDID", Data{displayData(7, name)}}}});
  }

  FakePlatform fake;
};

TEST_F(ScreenWindowTest, RestoredFramesCanBeReached) {
  struct Row {
    const char *screen, *stored;
    QRect frame;  // empty: nothing is restored
  };
  for (const auto& [screen, text, frame] : std::initializer_list<Row>{
           {"Wide 34 3992977671", "{{100, 50}, {640, 480}}", {100, 50, 640, 480}},
           {"COR eDP-1 3992977671", " {{100,50 } , {\t640.4,479.5}}\n", {1380, 50, 640, 480}},
           {"Other 0", "{{100, 50}, {640, 480}}", {}},
           {"", "{{100, 50}, {640, 480}}", {}},
           {"Unknown 0", "{{100, 50}, {640, 0}}", {}},
           {"Unknown 0", "{{100, 50}, {640, 1e300}}", {}},
           {"Unknown 0", "{{100, 50}, {640, 480}} x", {}},
           // Partly outside, but its title bar can be grabbed; on two screens; out of reach; too large.
           {"Wide 34 3992977671", "{{-576, 700}, {640, 480}}", {-576, 700, 640, 480}},
           {"Wide 34 3992977671", "{{-577, 700}, {640, 480}}", {0, 800, 640, 480}},
           {"Wide 34 3992977671", "{{200, -1}, {640, 480}}", {200, 0, 640, 480}},
           {"Wide 34 3992977671", "{{100, 50}, {2400, 600}}", {100, 50, 2400, 600}},
           {"COR eDP-1 3992977671", "{{1000000, -1000000}, {30, 10}}", {2530, 0, 30, 10}},
           {"Unknown 0", "{{-100, 100}, {1000000, 1000000}}", {0, 800, 800, 600}},
       }) {
    Defaults.saveString("SCREEN_Log", screen);
    Defaults.saveString("FRAME_Log", text);
    ScreenWindow window;
    window.setGeometry(1, 2, 300, 200);
    EXPECT_TRUE(restores(window));
    EXPECT_EQ(window.frameAutosaveName(), frame.isEmpty() ? "Log" : "") << screen << text;
    window.show();
    EXPECT_EQ(window.frameGeometry(), frame.isEmpty() ? QRect(1, 2, 300, 200) : frame) << screen << text;
  }
}

TEST_F(ScreenWindowTest, StoresTheFrameOfWindowsThatAreSeenToClose) {
  struct : ScreenWindow {
    void closeEvent(QCloseEvent* event) override { event->setAccepted(closes); }
    bool closes = false;
  } window;
  EXPECT_TRUE(restores(window));
  window.close();  // hidden
  window.show();
  window.close();  // refused
  window.closes = true;
  window.move(9000, 9000);
  window.close();  // outside
  EXPECT_FALSE(window.isVisible());
  EXPECT_EQ(stored("SCREEN_Log"), "none");
  window.setGeometry(1300, 40, 640, 480);
  window.show();
  QTimer::singleShot(0, [] { QApplication::exit(); });
  QApplication::exec();
  EXPECT_TRUE(window.isVisible());
  EXPECT_EQ(stored("SCREEN_Log"), "COR eDP-1 3992977671");
  EXPECT_EQ(stored("FRAME_Log"), "{{20, 40}, {640, 480}}");
  window.setWindowState(Qt::WindowFullScreen);
  window.close();
  EXPECT_EQ(stored("FRAME_Log"), "{{20, 40}, {640, 480}}");
}

// The frame memory: while the stored screen is gone.
TEST_F(ScreenWindowTest, NamesRememberFramesOfOneWindowEach) {
  Defaults.saveString("SCREEN_Log", "Gone 1");
  Defaults.saveString("AUTOSAVE_Log", "{{30, 830}, {320, 240}}");
  ScreenWindow window, other;
  EXPECT_TRUE(restores(window));
  EXPECT_EQ(window.frameGeometry(), QRect(30, 830, 320, 240));
  EXPECT_FALSE(restores(other));
  EXPECT_TRUE(restores(other, ""));
  window.show();
  window.move(40, 840);
  EXPECT_EQ(stored("AUTOSAVE_Log"), "{{30, 830}, {320, 240}}");  // not on every move
  EXPECT_TRUE(QTest::qWaitFor([] { return stored("AUTOSAVE_Log") == "{{40, 840}, {320, 240}}"; }));
  window.resize(330, 240);
  window.close();
  EXPECT_EQ(stored("AUTOSAVE_Log"), "{{40, 840}, {330, 240}}");
  EXPECT_EQ(stored("FRAME_Log"), "{{40, 40}, {330, 240}}");
}

// Two monitors with these left edges, of which RIGHT has a display. Qt notices only changes that it can tell apart.
void arrange(int left, int right) {
  run("xrandr --delmonitor LEFT --delmonitor RIGHT");
  EXPECT_TRUE(QTest::qWaitFor([] { return Screen::screens().size() == 1; }));
  run(QString("xrandr --setmonitor RIGHT 800/200x900/200+%1+0 screen --setmonitor LEFT 800/200x900/200+%2+0 none")
          .arg(right)
          .arg(left));
  EXPECT_TRUE(QTest::qWaitFor([] { return Screen::screens().size() == 2; }));
}

// With frames that only the window manager knows, on two monitors that change places, and of which one is unplugged.
TEST(X11ScreenWindowTest, FindsItsDisplayAgain) {
  connectDisplay(displayData(7, "Wide 34"));
  arrange(0, 800);
  QRect frame;
  {
    ScreenWindow window;
    EXPECT_TRUE(restores(window));
    window.setGeometry(900, 100, 300, 200);
    window.show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.frameGeometry().height() > 200; }));
    frame = window.frameGeometry();
    window.close();
    EXPECT_EQ(stored("SCREEN_Log"), "Wide 34 3992977671");
    EXPECT_EQ(rectFromString(stored("FRAME_Log")), frame.translated(-800, 0));
  }
  arrange(800, 0);
  frame.translate(-800, 0);
  const auto isLarge = [](const QWidget& window) { return window.width() > 700 && window.isMaximized(); };
  for (const bool isKnown : {true, false, true}) {  // how thick frames are; at last the window is maximised
    if (!isKnown) Defaults.remove("STATE_Log");
    ScreenWindow window;
    EXPECT_TRUE(restores(window));
    window.show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.frameGeometry() == frame || isLarge(window); }));
    QTest::qWait(600);                                            // it has settled
    window.windowHandle()->setWindowStates(Qt::WindowMaximized);  // as the window manager's button does
    EXPECT_TRUE(QTest::qWaitFor([&] { return isLarge(window); }));
    window.close();
    EXPECT_EQ(rectFromString(stored("FRAME_Log")), frame);
  }
  ScreenWindow window;
  EXPECT_TRUE(restores(window));
  window.show();
  EXPECT_TRUE(QTest::qWaitFor([&] { return isLarge(window) && window.screen()->name() == "RIGHT"; }));
  window.showNormal();
  EXPECT_TRUE(QTest::qWaitFor([&] { return window.frameGeometry() == frame; }));
  window.move(1100, 200);
  run("xrandr --delmonitor LEFT");
  EXPECT_TRUE(QTest::qWaitFor([&] {
    return window.frameGeometry() == QRect({800 - frame.width(), 200}, frame.size());
  }));
}

}  // namespace
}  // namespace corvane
