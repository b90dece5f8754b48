#include "corvane/ui/Screen.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>
#include <QWidget>

#include "corvane/testing/FakePlatform.h"
#include "tests/support/Displays.h"

namespace corvane {
namespace {

Screen screenNamed(const char* name) {
  for (const Screen& screen : Screen::screens())
    if (screen.qScreen()->name() == name) return screen;
  return {};
}

TEST(ScreenTest, ScreensHaveTheNamesThatTheirDisplaysTell) {
  FakePlatform fake;
  for (const auto& [connector, name] :
       {std::pair("/card0-DP-1", "Wide 34"), {"/card0-eDP-1", ""}, {"/card0-HDMI-A-2", "No"}})
    fake.deviceRegistry->devices.push_back(
        {"", {"IODisplayConnect"}, {{"DEVPATH", connector}, {"IODisplayEDID", Data{displayData(7, name)}}}});
  const std::map<const char*, std::string> names = {
      {"DP-1", "Wide 34 3992977671"}, {"eDP-1", "COR eDP-1 3992977671"}, {"HDMI-A-1", "Unknown 0"}};
  for (const auto& [name, displayName] : names) {
    EXPECT_EQ(screenNamed(name).displayNameNumber(), displayName);
    EXPECT_EQ(screenNamed(name).visibleFrame(), screenNamed(name).qScreen()->geometry());
  }
}

// Two monitors side by side, of which the left one has an output; panels come and go; the right one is unplugged.
TEST(X11ScreenTest, NamesAndVisibleFramesFollowDisplaysAndPanels) {
  ScreenWatcher watcher;
  QSignalSpy changes(&watcher, &ScreenWatcher::changed);
  const auto becomes = [&](const QRect& left, const QRect& right) {
    EXPECT_TRUE(QTest::qWaitFor([&] {
      return !changes.isEmpty() && screenNamed("LEFT").visibleFrame() == left &&
             screenNamed("RIGHT").visibleFrame() == right;
    }));
    changes.clear();
  };
  run("xrandr --setmonitor LEFT 800/200x900/200+0+0 screen --setmonitor RIGHT 800/200x900/200+800+0 none");
  becomes({0, 0, 800, 900}, {800, 0, 800, 900});
  connectDisplay(displayData(7, "Wide 34"));
  EXPECT_TRUE(QTest::qWaitFor([] { return screenNamed("LEFT").displayNameNumber() == "Wide 34 3992977671"; }));

  const auto panel = [](const QString& property, const QString& strut) {
    auto window = std::make_unique<QWidget>();
    window->setAttribute(Qt::WA_X11NetWmWindowTypeDock);
    run(QString("xprop -id %1 -f %2 32c -set %2 %3").arg(window->winId()).arg(property, strut));
    window->show();
    return window;
  };
  // At the left of the right screen: reserves what lies between it and the desktop's edge, too.
  auto inner = panel("_NET_WM_STRUT_PARTIAL", "850,0,0,0,0,899,0,0,0,0,0,0");
  becomes({0, 0, 800, 900}, {850, 0, 750, 900});
  const auto top = panel("_NET_WM_STRUT_PARTIAL", "0,0,30,0,0,0,0,0,0,799,0,0");
  const auto corner = panel("_NET_WM_STRUT", "0,60,0,40");
  becomes({0, 30, 800, 830}, {850, 0, 690, 860});
  const auto absurd = panel("_NET_WM_STRUT_PARTIAL", "4294967295,0,4294967295,0,0,4294967295,0,0,0,4294967295,0,0");
  inner.reset();
  becomes({0, 30, 800, 830}, {800, 0, 740, 860});

  const Screen right = screenNamed("RIGHT");
  EXPECT_GT(right.screenNumber() ^ screenNamed("LEFT").screenNumber(), 0U);
  run("xrandr --delmonitor RIGHT");
  EXPECT_TRUE(QTest::qWaitFor([&] { return right.isEmpty() && !changes.isEmpty(); }));
  EXPECT_EQ(right.displayNameNumber(), "Unknown 0");
  EXPECT_EQ(right.screenNumber(), 0U);
}

}  // namespace
}  // namespace corvane
