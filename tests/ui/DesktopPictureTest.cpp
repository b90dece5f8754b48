#include "corvane/platform/DesktopPicture.h"

#include <gmock/gmock.h>

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QStandardPaths>
#include <QTest>
#include <QUrl>
#include <QWidget>
#include <optional>
#include <thread>

#include "tests/support/BusService.h"
#include "tests/support/Child.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

// A desktop, by what it calls itself.
struct DesktopPictureTest : Test {
  std::shared_ptr<DesktopPicture> desktop(const char* name) {
    home.set("XDG_CURRENT_DESKTOP", name);
    return makeService<DesktopPicture>();
  }

  const std::string display = qEnvironmentVariable("DISPLAY").toStdString();
  const std::string sessionBus = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS").toStdString();
  TempHome home;
};

// --- What cannot run here records what it is asked for.

TEST_F(DesktopPictureTest, PlasmaRunsScripts) {
  const PrivateBus bus;
  const auto plasma = desktop("KDE");
  BusService shell("org.kde.plasmashell");
  shell.answer("evaluateScript", "('org.kde.color\\nfile:///home/a\"\\\\b.png\\n',)");
  const auto user = plasma->picture("DP-1").value();
  EXPECT_EQ(user.url, "") << "a colour";
  EXPECT_TRUE(plasma->setPicture("DP-1", user));
  EXPECT_THAT(
      shell.calls().back(),
      HasSubstr(R"(writeConfig("Image", "file:///home/a\\u0022\\u005cb.png"); d.wallpaperPlugin = "org.kde.color")"));
  EXPECT_FALSE(plasma->setPicture("DP-1", {"file:///new.png"})) << "it kept the other one";
  shell.answer("evaluateScript", "('org.kde.image\\nfile:///new.png\\n',)");
  EXPECT_TRUE(plasma->setPicture("DP-1", {"file:///new.png"}));
  EXPECT_EQ(plasma->picture("DP-1")->url, "file:///new.png");
}

TEST_F(DesktopPictureTest, ThePortalAsksTheUser) {
  const PrivateBus bus;
  home.set("WAYLAND_DISPLAY", "wayland-0");
  const auto portal = desktop("sway");
  const std::string none = "Pictures of the desktop sway are not supported";
  EXPECT_THAT(portal->picture("").error().description, StartsWith(none));
  BusService service("org.freedesktop.portal.Desktop");
  service.answer("Get", "(<uint32 1>,)");
  service.answer("SetWallpaperFile", "(@o '/request',)");
  EXPECT_THAT(portal->picture("").error().description, HasSubstr("cannot be put back"));
  const ScreenPicture picture{"file://" + home.write("a.png", "picture")};
  for (const int response : {0, 1}) {
    const std::size_t calls = service.calls().size();
    const std::jthread user([&] {
      while (service.calls().size() == calls) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      service.send("/request", "org.freedesktop.portal.Request", "Response",
                   "(@u " + std::to_string(response) + ", @a{sv} {})");
    });
    EXPECT_EQ(portal->setPicture("", picture).has_value(), response == 0);
  }
  EXPECT_THAT(service.calls().back(),
              AllOf(HasSubstr("Wallpaper.SetWallpaperFile('', handle 0, {"), HasSubstr("'background'")));
  home.set("WAYLAND_DISPLAY", nullptr);
  EXPECT_EQ(desktop("")->setPicture("", picture).error().code, ENOTSUP);
}

// --- What runs here shows its pictures on a real display.

struct X11DesktopPictureTest : DesktopPictureTest {
  X11DesktopPictureTest() {
    home.set("DISPLAY", display.c_str());
    home.set("DBUS_SESSION_BUS_ADDRESS", sessionBus.c_str());  // one that starts services
  }

  ScreenPicture png(const std::string& name, Qt::GlobalColor color, QSize size = {1600, 900}) const {
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    image.save(QString::fromStdString(home / name), "PNG");
    return {QUrl::fromLocalFile(QString::fromStdString(home / name)).toEncoded().toStdString()};
  }

  // Whether the display becomes, at some place, of this colour. Another program than the one that sets it looks.
  static bool shows(Qt::GlobalColor color, QPoint at = {500, 500}) {
    return QTest::qWaitFor(
        [&] { return QGuiApplication::primaryScreen()->grabWindow(0).toImage().pixelColor(at) == QColor(color); },
        20'000);
  }

  static std::string output(const std::string& command) {
    QProcess process;
    process.start("sh", {"-c", QString::fromStdString(command)});
    process.waitForFinished();
    return process.readAllStandardOutput().toStdString();
  }

  // `isDrawn`: whether there is a program that draws what the settings say.
  void expectRoundTrip(DesktopPicture& desktop, const ScreenPicture& before, bool isDrawn = true) const {
    const auto shows = [&](Qt::GlobalColor color) { return !isDrawn || X11DesktopPictureTest::shows(color); };
    ASSERT_TRUE(shows(Qt::green));
    const auto user = desktop.picture("screen").value();
    EXPECT_EQ(user.url, before.url);
    for (const auto& [name, color] : {std::pair("red, ä.png", Qt::red), {"blue.png", Qt::blue}}) {
      const auto shown = png(name, color);
      const auto set = desktop.setPicture("screen", shown);
      EXPECT_TRUE(set) << set.error().description;
      EXPECT_TRUE(shows(color));
      EXPECT_EQ(desktop.picture("screen")->url, shown.url);
    }
    EXPECT_TRUE(desktop.setPicture("screen", user));
    EXPECT_TRUE(shows(Qt::green));
    EXPECT_EQ(desktop.picture("screen").value(), user);
  }
};

TEST_F(X11DesktopPictureTest, TheRootWindow) {
  const auto root = desktop("i3");
  const auto none = root->picture("screen").value();
  EXPECT_TRUE(root->setPicture("screen", png("green.png", Qt::green)));
  output("xprop -root -remove _CORVANE_ROOT_PICTURE");  // as if another program had set it
  const std::string pixmaps = output("xprop -root _XROOTPMAP_ID ESETROOT_PMAP_ID");
  expectRoundTrip(*root, {});
  EXPECT_EQ(output("xprop -root _XROOTPMAP_ID ESETROOT_PMAP_ID"), pixmaps);

  output("xrandr --setmonitor LEFT 800/200x900/200+0+0 screen --setmonitor RIGHT 800/200x900/200+800+0 none");
  EXPECT_TRUE(root->setPicture("RIGHT", png("half.png", Qt::red, {800, 900})));
  EXPECT_TRUE(shows(Qt::red, {801, 899}));
  EXPECT_TRUE(shows(Qt::green, {799, 899}));
  output("xrandr --delmonitor RIGHT; xrandr --delmonitor LEFT");
  EXPECT_FALSE(root->setPicture("screen", {"file://" + home.write("bad.png", "\x89PNG")}));
  EXPECT_TRUE(root->setPicture("screen", none));
  EXPECT_THAT(output("xprop -root _XROOTPMAP_ID"), HasSubstr("not found"));

  QWidget cover;
  const std::string type = "_NET_WM_WINDOW_TYPE";
  output("xprop -id " + std::to_string(cover.winId()) + " -f " + type + " 32a -set " + type + " " + type + "_DESKTOP");
  cover.show();
  EXPECT_TRUE(QTest::qWaitFor([&] { return !root->picture("screen"); }));
  EXPECT_EQ(root->setPicture("screen", {}).error().code, ENOTSUP);
}

TEST_F(X11DesktopPictureTest, Xfce) {
  if (QStandardPaths::findExecutable("xfconf-query").isEmpty()) GTEST_SKIP() << "no xfconf";
  const auto green = png("green.png", Qt::green);
  const auto query = [](const std::string& rest) { return output("xfconf-query -c xfce4-desktop " + rest); };
  const std::string image = "-p /backdrop/screen0/monitorscreen/workspace0/last-image";
  query(image + " -n -t string -s " + home / "green.png");
  std::optional<Child> xfdesktop;
  if (!QStandardPaths::findExecutable("xfdesktop").isEmpty()) {
    xfdesktop.emplace(std::vector<std::string>{"xfdesktop"});
    ASSERT_TRUE(shows(Qt::green));
  }
  const std::string settings = query("-l -v");
  const auto xfce = desktop("XFCE");
  expectRoundTrip(*xfce, green, xfdesktop.has_value());
  EXPECT_EQ(query("-l -v"), settings);
  EXPECT_TRUE(xfce->setPicture("screen", png("red.png", Qt::red)));
  EXPECT_EQ(query(image), home / "red.png" + "\n");
}

TEST_F(X11DesktopPictureTest, Lxqt) {
  if (QStandardPaths::findExecutable("pcmanfm-qt").isEmpty()) GTEST_SKIP() << "no pcmanfm-qt";
  const auto lxqt = desktop("LXQt");
  EXPECT_FALSE(lxqt->picture("screen")) << "nothing is running";
  const auto green = png("grün, 🌲.png", Qt::green);
  home.write(".config/pcmanfm-qt/lxqt/settings.conf",
             "[Desktop]\nWallpaper=\"" + home / "gr\\xfcn, \\xd83c\\xdf32.png" + "\"\nWallpaperMode=stretch\n");
  const Child fileManager({"pcmanfm-qt", "--desktop", "--profile=lxqt"});
  expectRoundTrip(*lxqt, green);
  EXPECT_FALSE(lxqt->setPicture("screen", {"file:///missing.png"}));
}

}  // namespace
}  // namespace corvane
