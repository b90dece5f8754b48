#include "corvane/ui/ScreenWindow.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCloseEvent>
#include <QTest>
#include <QTimer>

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

// The left screen of three is "Wide 34 3992977671", the one below it is "Unknown 0".
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
    QRect frame;  // null: nothing is restored
  };
  const QRect none;
  for (const auto& [screen, text, frame] : std::initializer_list<Row>{
           {"Wide 34 3992977671", "{{100, 50}, {640, 480}}", {100, 50, 640, 480}},
           {"COR eDP-1 3992977671", " {{100,50 } , {\t640.4,479.5}}\n", {1380, 50, 640, 480}},
           {"Unknown 0", "{{100, 50}, {640, 480}}", {100, 850, 640, 480}},
           {"Other 0", "{{100, 50}, {640, 480}}", none},
           {"", "{{100, 50}, {640, 480}}", none},
           {"Unknown 0", "{{100, 50}, {640, 0}}", none},
           {"Unknown 0", "{{100, 50}, {640, nan}}", none},
           {"Unknown 0", "{{100, 50}, {640, 1e300}}", none},
           {"Unknown 0", "{{100, 50}, {640, 480}} x", none},
           {"Unknown 0", "", none},
           // Partly outside, but its title bar can be grabbed; on two screens; in no screen's reach; too large.
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
    EXPECT_EQ(window.frameAutosaveName(), frame.isNull() ? "Log" : "") << screen << text;
    window.show();
    EXPECT_EQ(window.frameGeometry(), frame.isNull() ? QRect(1, 2, 300, 200) : frame) << screen << text;
  }
}

struct Stubborn : ScreenWindow {
  void closeEvent(QCloseEvent* event) override { event->setAccepted(closes); }
  bool closes = false;
};

TEST_F(ScreenWindowTest, StoresTheFrameOfWindowsThatAreSeenToClose) {
  Stubborn window;
  EXPECT_TRUE(restores(window));
  window.setGeometry(1300, 40, 640, 480);
  window.close();
  EXPECT_EQ(stored("SCREEN_Log"), "none");  // it was hidden
  window.show();
  window.close();
  EXPECT_TRUE(window.isVisible());
  EXPECT_EQ(stored("SCREEN_Log"), "none");
  window.closes = true;
  window.move(9000, 9000);
  window.close();
  EXPECT_FALSE(window.isVisible());
  EXPECT_EQ(stored("SCREEN_Log"), "none");
  window.move(1300, 40);
  window.show();
  QTimer::singleShot(0, [] { QApplication::exit(); });
  QApplication::exec();
  EXPECT_TRUE(window.isVisible());
  EXPECT_EQ(stored("SCREEN_Log"), "COR eDP-1 3992977671");
  EXPECT_EQ(stored("FRAME_Log"), "{{20, 40}, {640, 480}}");
  window.setWindowState(Qt::WindowFullScreen);
  window.close();
  EXPECT_EQ(stored("FRAME_Log"), "{{20, 40}, {640, 480}}");
  window.setWindowState(Qt::WindowMaximized);
  window.show();
  window.close();

  ScreenWindow again;
  EXPECT_TRUE(restores(again));
  again.show();
  EXPECT_TRUE(again.isMaximized());
  EXPECT_EQ(again.normalGeometry(), QRect(1300, 40, 640, 480));
  EXPECT_TRUE(QTest::qWaitFor([&] { return again.frameGeometry() == QRect(1280, 0, 1280, 800); }));
}

// The frame memory: while the stored screen is gone.
TEST_F(ScreenWindowTest, NamesRememberFramesOfOneWindowEach) {
  Defaults.saveString("SCREEN_Log", "Gone 1");
  Defaults.saveString("AUTOSAVE_Log", "{{30, 830}, {320, 240}}");
  auto window = std::make_unique<ScreenWindow>();
  EXPECT_TRUE(restores(*window));
  EXPECT_EQ(window->frameGeometry(), QRect(30, 830, 320, 240));
  ScreenWindow other;
  EXPECT_FALSE(restores(other));
  EXPECT_TRUE(restores(other, ""));
  window->show();
  window->move(40, 840);
  EXPECT_EQ(stored("AUTOSAVE_Log"), "{{30, 830}, {320, 240}}");  // not on every move
  EXPECT_TRUE(QTest::qWaitFor([] { return stored("AUTOSAVE_Log") == "{{40, 840}, {320, 240}}"; }));
  window->resize(330, 240);
  window->close();
  EXPECT_EQ(stored("AUTOSAVE_Log"), "{{40, 840}, {330, 240}}");
  window.reset();
  EXPECT_EQ(stored("FRAME_Log"), "{{40, 40}, {330, 240}}");
  EXPECT_TRUE(other.setFrameAutosaveName("Log"));
  EXPECT_TRUE(other.frameAutosaveName().isEmpty());  // the title's screen is there now
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

// Maximises a window as its title bar's button does.
void pressMaximize(const QWidget& window) {
  const auto x = X11Connection::open(qEnvironmentVariable("DISPLAY").toStdString());
  const auto atom = [&](const std::string& name) {
    return x
        ->answer(xcb_intern_atom_reply,
                 xcb_intern_atom(x->get(), 0, static_cast<std::uint16_t>(name.size()), name.data()))
        ->atom;
  };
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = static_cast<xcb_window_t>(window.winId());
  message.type = atom("_NET_WM_STATE");
  message.data.data32[0] = 1;
  message.data.data32[1] = atom("_NET_WM_STATE_MAXIMIZED_VERT");
  message.data.data32[2] = atom("_NET_WM_STATE_MAXIMIZED_HORZ");
  xcb_send_event(x->get(), 0, x->root(), XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                 reinterpret_cast<const char*>(&message));
  settle(*x);
}

// With frames that only the window manager knows, on two monitors that change places, and of which one is unplugged.
TEST(X11ScreenWindowTest, FindsItsDisplayAgain) {
  arrange(0, 800);
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
  for (const bool isKnown : {true, false}) {  // how thick frames are
    if (!isKnown) Defaults.remove("STATE_Log");
    ScreenWindow window;
    EXPECT_TRUE(restores(window));
    window.show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.frameGeometry() == frame && window.geometry() != frame; }));
    pressMaximize(window);
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.width() > 700 && window.isMaximized(); }));
    window.close();
    EXPECT_EQ(rectFromString(stored("FRAME_Log")), frame);
  }
  {
    ScreenWindow window;
    EXPECT_TRUE(restores(window));
    window.show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.width() > 700 && window.screen()->name() == "RIGHT"; }));
    QTest::qWait(600);
    window.close();
    EXPECT_EQ(rectFromString(stored("FRAME_Log")), frame);
  }
  ScreenWindow window;
  EXPECT_TRUE(restores(window));
  window.show();
  EXPECT_TRUE(QTest::qWaitFor([&] { return window.width() > 700; }));
  window.showNormal();
  EXPECT_TRUE(QTest::qWaitFor([&] { return window.frameGeometry() == frame; }));
  window.move(1100, 200);
  run("xrandr --delmonitor LEFT");
  EXPECT_TRUE(QTest::qWaitFor([&] {
    return window.frameGeometry() == QRect({800 - frame.width(), 200}, frame.size());
  }));
  window.close();
  EXPECT_EQ(stored("SCREEN_Log"), "Wide 34 3992977671");
}

}  // namespace
}  // namespace corvane
