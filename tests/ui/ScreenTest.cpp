#include "corvane/ui/Screen.h"

#include <gtest/gtest.h>
#include <xcb/randr.h>

#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <cstring>
#include <numeric>
#include <set>

#include "corvane/linux/x11/X11Connection.h"
#include "corvane/testing/FakePlatform.h"

namespace corvane {
namespace {

// What a display of the manufacturer "COR" says about itself.
std::vector<std::uint8_t> idData(std::uint32_t serial, const std::string& name) {
  std::vector<std::uint8_t> data(128);
  const std::uint8_t begin[] = {0, 255, 255, 255, 255, 255, 255, 0, 0x0D, 0xF2};
  std::ranges::copy(begin, data.begin());
  for (unsigned i = 0; i < 4; ++i) data[12 + i] = static_cast<std::uint8_t>(serial >> 8 * i);
  data[18] = 1;
  data[57] = name.empty() ? 0x10 : 0xFC;
  std::ranges::copy(name + '\n', data.begin() + 59);
  data[127] = static_cast<std::uint8_t>(-std::accumulate(data.begin(), data.end(), 0));
  return data;
}

FakeDeviceRegistry::Device connector(const std::string& folder, std::uint32_t serial, const std::string& name) {
  return {"drm_connector", {"IODisplayConnect"}, {{"DEVPATH", folder}, {"IODisplayEDID", Data{idData(serial, name)}}}};
}

Screen screenNamed(const char* name) {
  for (const Screen& screen : Screen::screens())
    if (screen.qScreen()->name() == name) return screen;
  return {};
}

TEST(ScreenTest, ScreensHaveTheNamesThatTheirDisplaysTell) {
  FakePlatform fake;
  fake.deviceRegistry->devices = {connector("/devices/card0/card0-DP-1", 4'000'000'001, "Wide 34"),
                                  connector("/devices/card0/card0-eDP-1", 7, ""),
                                  connector("/devices/card0/card0-HDMI-A-2", 8, "Beamer")};
  const struct {
    const char* name;
    QRect frame;
    double scale;
    const char* displayName;
  } rows[] = {{"DP-1", {0, 0, 1280, 800}, 1, "Wide 34 4000000001"},
              {"eDP-1", {1280, 0, 1280, 800}, 2, "COR eDP-1 7"},
              {"HDMI-A-1", {0, 800, 800, 600}, 1, "Unknown 0"}};
  std::set<std::uint32_t> numbers;
  for (const auto& row : rows) {
    const Screen screen = screenNamed(row.name);
    EXPECT_EQ(screen.displayNameNumber(), row.displayName);
    EXPECT_TRUE(screen.frame() == row.frame && screen.visibleFrame() == row.frame) << row.name;
    EXPECT_EQ(screen.scale(), row.scale) << row.name;
    numbers.insert({screen.screenNumber(), screen.screenNumber()});
  }
  EXPECT_EQ(numbers, (std::set<std::uint32_t>{1, 2, 3}));

  const Screen none;
  EXPECT_TRUE(none.isEmpty() && none.frame().isNull() && none.visibleFrame().isNull());
  EXPECT_EQ(none.screenNumber() + none.screenSerialNumber(), 0U);
  EXPECT_EQ(none.displayNameNumber(), "Unknown 0");
}

// A server with two monitors side by side; the left one has an output.
class X11ScreenTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    run("xrandr --setmonitor LEFT 800/200x900/200+0+0 screen");
    run("xrandr --setmonitor RIGHT 800/200x900/200+800+0 none");
    EXPECT_TRUE(QTest::qWaitFor([] { return Screen::screens().size() == 2; }));
  }

  static void run(const QString& command) {
    QStringList words = command.split(' ');
    const QString program = words.takeFirst();
    EXPECT_EQ(QProcess::execute(program, words), 0) << command.toStdString();
  }

  xcb_atom_t atom(const char* name) const {
    const auto length = static_cast<std::uint16_t>(std::strlen(name));
    return x->answer(xcb_intern_atom_reply, xcb_intern_atom(x->get(), 0, length, name))->atom;
  }

  void setIdData(const std::vector<std::uint8_t>& data) const {
    const auto outputs = x->answer(xcb_randr_get_screen_resources_current_reply,
                                   xcb_randr_get_screen_resources_current(x->get(), x->root()));
    xcb_randr_change_output_property(x->get(), *xcb_randr_get_screen_resources_current_outputs(outputs.get()),
                                     atom("EDID"), XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE,
                                     static_cast<std::uint32_t>(data.size()), data.data());
    xcb_flush(x->get());
  }

  // Shows a panel that reserves parts of the desktop's edges.
  xcb_window_t panel(const char* property, const std::vector<std::uint32_t>& strut) const {
    const xcb_window_t window = xcb_generate_id(x->get());
    xcb_create_window(x->get(), XCB_COPY_FROM_PARENT, window, x->root(), 0, 0, 20, 20, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    const xcb_atom_t dock = atom("_NET_WM_WINDOW_TYPE_DOCK");
    xcb_change_property(x->get(), XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, 1,
                        &dock);
    xcb_change_property(x->get(), XCB_PROP_MODE_REPLACE, window, atom(property), XCB_ATOM_CARDINAL, 32,
                        static_cast<std::uint32_t>(strut.size()), strut.data());
    xcb_map_window(x->get(), window);
    xcb_flush(x->get());
    return window;
  }

  const std::unique_ptr<X11Connection> x = X11Connection::open(qEnvironmentVariable("DISPLAY").toStdString());
};

TEST_F(X11ScreenTest, NamesFollowTheDisplay) {
  EXPECT_EQ(screenNamed("LEFT").displayNameNumber(), "Unknown 0");
  setIdData(idData(77, "Wide 34"));
  EXPECT_TRUE(QTest::qWaitFor([] { return screenNamed("LEFT").displayNameNumber() == "Wide 34 77"; }));
  setIdData(idData(5, ""));
  EXPECT_TRUE(QTest::qWaitFor([] { return screenNamed("LEFT").displayNameNumber() == "COR LEFT 5"; }));
  EXPECT_EQ(screenNamed("RIGHT").displayNameNumber(), "Unknown 0") << "it has no output";
}

TEST_F(X11ScreenTest, PanelsTakeTheirPartOfTheirScreenOnly) {
  ScreenWatcher watcher;
  QSignalSpy changes(&watcher, &ScreenWatcher::changed);
  const auto becomes = [&](const QRect& left, const QRect& right) {
    const auto is = [&] {
      return screenNamed("LEFT").visibleFrame() == left && screenNamed("RIGHT").visibleFrame() == right;
    };
    EXPECT_TRUE(QTest::qWaitFor([&] { return !changes.isEmpty() && is(); }));
    changes.clear();
  };
  const QRect left(0, 0, 800, 900);
  const QRect right(800, 0, 800, 900);
  EXPECT_EQ(screenNamed("LEFT").visibleFrame(), left);
  // Left of the right screen: reserves what lies between it and the desktop's edge.
  const xcb_window_t inner = panel("_NET_WM_STRUT_PARTIAL", {850, 0, 0, 0, 0, 899, 0, 0, 0, 0, 0, 0});
  becomes(left, right.adjusted(50, 0, 0, 0));
  panel("_NET_WM_STRUT_PARTIAL", {0, 0, 30, 0, 0, 0, 0, 0, 0, 799, 0, 0});
  becomes(left.adjusted(0, 30, 0, 0), right.adjusted(50, 0, 0, 0));
  panel("_NET_WM_STRUT", {0, 60, 0, 40});
  becomes(left.adjusted(0, 30, 0, -40), right.adjusted(50, 0, -60, -40));
  xcb_destroy_window(x->get(), inner);
  panel("_NET_WM_STRUT_PARTIAL", {0xFFFFFFFF, 0, 0xFFFFFFFF, 0, 0, 0xFFFFFFFF, 0, 0, 0, 0xFFFFFFFF, 0, 0});
  becomes(left.adjusted(0, 30, 0, -40), right.adjusted(0, 0, -60, -40));
}

TEST_F(X11ScreenTest, AnUnpluggedScreenLeavesAnEmptyHandle) {
  const Screen right = screenNamed("RIGHT");
  const std::uint32_t number = right.screenNumber();
  EXPECT_GT(number, 0U);
  ScreenWatcher watcher;
  QSignalSpy changes(&watcher, &ScreenWatcher::changed);
  run("xrandr --delmonitor RIGHT");
  EXPECT_TRUE(changes.wait());
  EXPECT_TRUE(right.isEmpty());
  EXPECT_EQ(right.displayNameNumber(), "Unknown 0");
  run("xrandr --setmonitor RIGHT 800/200x900/200+800+0 none");
  EXPECT_TRUE(QTest::qWaitFor([] { return Screen::screens().size() == 2; }));
  EXPECT_GT(screenNamed("RIGHT").screenNumber(), number);
}

}  // namespace
}  // namespace corvane
