#include "corvane/ui/Desktop.h"

#include <gmock/gmock.h>

#include <QGraphicsEllipseItem>
#include <QGraphicsView>
#include <QGuiApplication>
#include <QOpenGLContext>
#include <QOpenGLWidget>
#include <QPainter>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QVBoxLayout>

#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/LogFile.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;
using Style = Desktop::FillStyle;

// Paints the left half in a colour.
struct Half : QWidget {
  explicit Half(QColor c, QWidget* parent = nullptr) : QWidget(parent), color(c) {}
  void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(0, 0, width() / 2, height(), color); }
  QColor color;
};

struct DesktopTest : Test {
  DesktopTest() { fake.bundles->main.info = infoPlist(Value::Dictionary{{"CFBundleIdentifier", "a.b.App"}}); }

  std::vector<std::string> log() const { return loggedMessages(home / "Library/Logs/a.b.App/App.log"); }
  std::string url(int number) const { return "file://" + file(number); }
  std::string file(int number) const { return caches + "/desktop-image-" + std::to_string(number) + ".png"; }

  const TempHome home;
  FakePlatform fake{home.path()};
  FakeDesktopPicture& shown = *fake.desktopPicture;
  const std::string caches = home / ".cache/a.b.App";
  const ScreenPicture user{"file:///home/user.png", {{"style", "tiled"}}};
};

// The view's lower left corner on the screen is where the rows say. In the picture y grows downwards.
TEST_F(DesktopTest, ViewsGoWhereTheStyleSays) {
  const QRectF screen(0, 0, 1000, 800), free(0, 100, 1000, 650);
  Half view(Qt::red);
  Desktop desktop;
  for (const auto& [style, from, vis, place] :
       {std::tuple(Style::SCREEN_FIT, QRect(0, 0, 400, 200), screen, QRect(0, 150, 1000, 500)),
        std::tuple(Style::SCREEN_FIT, QRect(0, 0, 200, 400), screen, QRect(300, 0, 400, 800)),
        std::tuple(Style::SCREEN_FIT, QRect(400, 0, 400, 200), screen, QRect(0, 275, 1000, 250)),
        std::tuple(Style::SCREEN_FIT, QRect(-100, 300, 100, 100), free, QRect(419, 50, 163, 650)),
        std::tuple(Style::SCREEN_FILL, QRect(9, 9, 9, 9), free, QRect(0, 50, 1000, 650)),
        std::tuple(Style::SCREEN_STRETCH, QRect(9, 9, 9, 9), free, QRect(0, 0, 1000, 800))}) {
    const int height = QGuiApplication::primaryScreen()->geometry().height();
    const QRect frame(from.x(), height - from.y() - from.height(), from.width(), from.height());
    view.setGeometry(frame);
    desktop.setFill(style, Qt::blue);
    const QImage image = desktop.makeImage({nullptr, &view}, screen, vis);
    EXPECT_EQ(image.deviceIndependentSize(), screen.size());
    QImage expected(image.size(), image.format());
    expected.setDevicePixelRatio(image.devicePixelRatio());
    expected.fill(Qt::blue);
    QPainter(&expected).fillRect(place.x(), place.y(), place.width() / 2, place.height(), Qt::red);
    EXPECT_TRUE(image == expected) << from.width() << " for " << place.x();
    EXPECT_EQ(view.geometry(), frame);
  }
  desktop.setFill(Style::SCREEN_FIT, Qt::blue);
  EXPECT_TRUE(desktop.makeImage({}, screen, free).isNull());
  EXPECT_EQ(Desktop::fillStyle(2), Style::SCREEN_STRETCH);
  EXPECT_EQ(Desktop::fillStyle(3), std::nullopt);
  EXPECT_EQ(Desktop::fillStyle(-1), std::nullopt);
  Desktop colourless;
  EXPECT_DEATH(colourless.makeImage({&view}, screen, free), "fill colour");
}

TEST_F(DesktopTest, EveryKindOfViewIsDrawnAndUnchanged) {
  QGraphicsScene scene(0, 0, 10, 10);
  scene.addRect(0, 0, 10, 10, Qt::NoPen, Qt::red);
  QGraphicsView graphics(&scene);
  graphics.setStyleSheet("background: transparent; border: none");
  QWidget panel;  // never shown, with a layout
  (new QVBoxLayout(&panel))->addWidget(new Half(Qt::red));
  QWidget window;  // shown, with a scrolled view
  QScrollArea scrolled(&window);
  scrolled.setWidget(new Half(Qt::red));
  scrolled.widget()->setFixedSize(90, 900);
  scrolled.setGeometry(5, 6, 100, 80);
  window.resize(300, 200);
  window.show();
  const int end = scrolled.verticalScrollBar()->maximum();
  scrolled.verticalScrollBar()->setValue(end);
  Half fixed(Qt::red), onScreen(Qt::red);
  fixed.setFixedSize(20, 10);
  onScreen.setGeometry(40, 50, 60, 70);
  onScreen.show();
  QOpenGLWidget unseen;  // nothing without OpenGL
  Desktop desktop;
  desktop.setFill(Style::SCREEN_STRETCH, Qt::blue);
  const auto pixel = [&](const std::vector<QWidget*>& views, QPoint at) {
    const QImage image = desktop.makeImage(views, {0, 0, 200, 100}, {});
    return image.pixelColor(at * image.devicePixelRatio());
  };
  for (QWidget* const view : std::initializer_list<QWidget*>{&graphics, &panel, &scrolled, &fixed, &onScreen}) {
    const QRect frame = view->geometry();
    EXPECT_EQ(pixel({view}, view == &graphics ? QPoint(100, 50) : QPoint(40, 50)), QColor(Qt::red));
    EXPECT_EQ(pixel({view, &unseen}, {180, 50}), view == &scrolled ? pixel({view}, {180, 50}) : QColor(Qt::blue));
    EXPECT_EQ(view->geometry(), frame);
  }
  EXPECT_EQ(scrolled.verticalScrollBar()->value(), end) << "though there was less to be scrolled for a moment";
  Half green(Qt::green);
  EXPECT_EQ(pixel({&panel, &green}, {40, 50}), QColor(Qt::green)) << "later views cover earlier ones";
}

TEST_F(DesktopTest, UpdatesReplaceEachOtherAndFailuresAreLogged) {
  ManualClock clock(Timeval::sec(1'000'000));
  shown.current = user;
  shown.flags[std::string(Desktop::DESKTOP_ADMIN)] = 9;
  Half view(Qt::red), nothing(Qt::red);
  nothing.resize(0, 0);
  {
    Desktop desktop, other;
    const auto update = [&](QWidget& drawn, int seconds) {
      clock.advance(Timeval::sec(seconds));
      desktop.useViews({&drawn});
      return desktop.updating() && QTest::qWaitFor([&] { return !desktop.updating(); });
    };
    desktop.setFill(Style::SCREEN_FIT, Qt::blue);
    EXPECT_TRUE(update(view, 0));
    EXPECT_EQ(shown.current, ScreenPicture{url(1)});
    EXPECT_EQ(QImage(QString::fromStdString(file(1))).size(), QGuiApplication::primaryScreen()->size());
    EXPECT_FALSE(update(view, 4)) << "too early";
    EXPECT_TRUE(update(view, 1));
    EXPECT_EQ(shown.current.url, url(2));
    EXPECT_THAT(namesIn(caches), ElementsAre("desktop-image-2.png"));

    shown.refusal = EIO;
    EXPECT_TRUE(update(view, 5));
    shown.refusal = 0;
    EXPECT_THAT(namesIn(caches), ElementsAre("desktop-image-2.png", "desktop-image-3.png"));
    fs::create_directories(file(4) + ".png/full");
    EXPECT_TRUE(update(view, 5));
    view.setGeometry(0, 800, 0, 0);
    EXPECT_FALSE(update(view, 5));
    view.resize(10, 10);
    EXPECT_FALSE(update(view, 4)) << "the attempt counts";
    fs::remove_all(caches);
    home.write(".cache/a.b.App", "");
    EXPECT_FALSE(update(view, 1));
    fs::remove(caches);
    clock.advance(Timeval::sec(-1000));
    EXPECT_TRUE(update(view, 0)) << "the clock was set back";
    EXPECT_EQ(shown.current.url, url(5));
    EXPECT_EQ(shown.flags.begin()->second, 2U);
    desktop.setUpdating(true);
    EXPECT_TRUE(fs::exists(home / ".local/share/a.b.App/desktop-picture.plist"));
    shown.refusal = EIO;
  }
  EXPECT_THAT(shown.flagsSet, ElementsAre(2, 9)) << "also with two objects, and though the picture is refused";
  EXPECT_TRUE(namesIn(caches).empty());
  EXPECT_TRUE(fs::exists(home / ".local/share/a.b.App/desktop-picture.plist")) << "for the next start";
  shown.refusal = 0;
  Desktop();
  EXPECT_EQ(shown.current, user);
  EXPECT_THAT(shown.shown, Contains(ScreenPicture{user}).Times(3));
  EXPECT_THAT(log(), ElementsAre("> setDesktopImageURL failed: " + file(3), "> cannot create file: " + file(4),
                                 "> no usable image", StartsWith("> FindCachePath: "), "> cannot find cache path",
                                 "> setDesktopImageURL failed", "> setDesktopImageURL failed"));
}

TEST_F(DesktopTest, WhatTheDesktopDoesNotSupportIsSaidOnce) {
  ManualClock clock(Timeval::sec(1'000'000));
  shown.tells = false;
  Half view(Qt::red);
  {
    Desktop desktop;
    desktop.setFill(Style::SCREEN_FILL, Qt::blue);
    for (const int refusal : {0, ENOTSUP}) {
      shown.refusal = refusal;
      desktop.useViews({&view});
      EXPECT_TRUE(QTest::qWaitFor([&] { return !desktop.updating(); }));
      clock.advance(Timeval::sec(5));
    }
  }
  EXPECT_THAT(namesIn(caches), ElementsAre("desktop-image-1.png")) << "it is shown";
  EXPECT_THAT(log(), ElementsAre("> Desktop: The fake desktop does not tell its picture"));
}

struct X11DesktopTest : DesktopTest {};

struct Red : QOpenGLWidget {
  void paintGL() override { QPainter(this).fillRect(rect(), Qt::red); }
};

TEST_F(X11DesktopTest, OpenGLIsDrawn) {
  QOpenGLContext context;
  if (!context.create()) GTEST_SKIP() << "no OpenGL";
  Red hidden, onScreen;
  onScreen.show();
  EXPECT_TRUE(QTest::qWaitForWindowExposed(&onScreen));
  Desktop desktop;
  desktop.setFill(Style::SCREEN_STRETCH, Qt::blue);
  for (Red* const view : {&hidden, &onScreen})
    EXPECT_EQ(desktop.makeImage({view}, {0, 0, 200, 100}, {}).pixelColor(150, 50), QColor(Qt::red));
}

}  // namespace
}  // namespace corvane
