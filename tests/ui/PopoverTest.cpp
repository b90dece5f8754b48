#include "corvane/ui/Popover.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <functional>

#include "corvane/platform/Platform.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Displays.h"

namespace corvane {
namespace {

static_assert(!std::is_default_constructible_v<Popover>);

struct Delegate : PopoverDelegate {
  std::function<void(Popover&)> act;
  void popoverClosed(Popover& popover) override { act(popover); }
};

// A button of 80x30 at (300, 300) on the screen, and a popover with a field and, above it, a place to drag it by.
struct Scene {
  explicit Scene(bool detachable = true, Qt::WindowFlags flags = {})
      : window(nullptr, flags), popover(std::make_unique<Popover>("Details", new QWidget, detachable)) {
    field->setGeometry(10, 40, 100, 25);
    popover->syncContentSize({200, 100});
    window.setGeometry(200, 200, 300, 200);
    button->setGeometry(100, 100, 80, 30);
    window.show();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
  }
  ~Scene() {
    popover.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  static QWidget* bubble() { return QApplication::activePopupWidget(); }
  QWidget* show(Qt::Edge edge = Qt::BottomEdge) { return popover->displayView(button, {}, edge), bubble(); }
  void drag(QPoint way) const {
    QWidget* const frame = bubble();
    const QPoint from = content->mapTo(frame, QPoint(5, 5));
    QTest::mousePress(frame, Qt::LeftButton, {}, from);
    QMouseEvent move(QEvent::MouseMove, from + way, frame->mapToGlobal(from + way), Qt::NoButton, Qt::LeftButton, {});
    QCoreApplication::sendEvent(frame, &move);
    QTest::mouseRelease(frame, Qt::LeftButton, {}, from);
  }

  QWidget window;
  QPushButton* button = new QPushButton(&window);
  std::unique_ptr<Popover> popover;
  QPointer<QWidget> content = popover->viewController();
  QLineEdit* field = new QLineEdit(content);
};

TEST(PopoverTest, StandsWhereThereIsRoom) {
  Scene scene;
  const QPoint corner = scene.button->mapToGlobal(QPoint());
  // An anchor on the screen of 1280x800, and the bubble, with an arrow of 10 points and a margin of 8 on each side.
  for (const auto& [rect, edge, frame] : std::initializer_list<std::tuple<QRect, Qt::Edge, QRect>>{
           {{600, 400, 80, 30}, Qt::LeftEdge, {374, 357, 226, 116}},
           {{600, 400, 80, 30}, Qt::RightEdge, {680, 357, 226, 116}},
           {{600, 644, 80, 30}, Qt::BottomEdge, {532, 674, 216, 126}},
           {{600, 645, 80, 30}, Qt::BottomEdge, {532, 519, 216, 126}},
           {{225, 400, 80, 30}, Qt::LeftEdge, {305, 357, 226, 116}},
           {{1200, 790, 80, 10}, Qt::TopEdge, {1064, 664, 216, 126}},
           {{600, 10, 80, 780}, Qt::TopEdge, {680, 342, 226, 116}},  // neither above nor below
           {{0, 0, 1280, 800}, Qt::BottomEdge, {532, 674, 216, 126}},
       }) {
    scene.content->resize(1, 1);
    scene.popover->displayView(scene.button, rect.translated(-corner), edge);
    EXPECT_EQ(scene.bubble()->geometry(), frame) << rect.x() << ' ' << rect.y() << ' ' << edge;
  }
  const QPoint before = scene.show()->pos();
  scene.window.move(250, 230);
  scene.button->move(90, 100);
  EXPECT_EQ(scene.bubble()->pos() - before, QPoint(40, 30));
  scene.popover->syncContentSize({300, 80});
  EXPECT_EQ(scene.bubble()->size(), QSize(316, 106));
}

TEST(PopoverTest, ClosesWithItsAnchorAndKeepsItsContent) {
  Scene scene;
  QSignalSpy closed(scene.popover.get(), &Popover::closed);
  for (const std::function<void()>& act : std::initializer_list<std::function<void()>>{
           [&] { scene.popover->close(); },
           [&] { QTest::keyClick(scene.field, Qt::Key_Escape); },
           [&] {
             QTest::mouseClick(scene.bubble(), Qt::LeftButton, {}, {-5, 5});
           },
           [&] { scene.window.hide(); },
           [&] { scene.window.showMinimized(); },
           [&] { delete scene.button; },
       }) {
    scene.window.showNormal();
    closed.clear();
    ASSERT_TRUE(scene.show());
    EXPECT_TRUE(scene.field->hasFocus() && !scene.popover->isVisible());
    act();
    EXPECT_TRUE(closed.size() == 1 && !scene.bubble() && scene.content);
  }
  QPushButton hidden;
  scene.popover->displayView(&hidden, {}, Qt::TopEdge);
  EXPECT_FALSE(scene.bubble());
  EXPECT_DEATH(scene.popover->displayView(nullptr, {}, Qt::TopEdge), "fatal: Popover.displayView: the sender is no v");
}

TEST(PopoverTest, IsDraggedOffIntoAWindow) {
  Scene scene, fixed(false);
  fixed.show();
  fixed.drag({300, 200});
  EXPECT_TRUE(fixed.bubble() && !fixed.popover->isDetached());
  fixed.popover->close();
  scene.show();
  scene.field->setText("some text");
  scene.field->setSelection(2, 3);
  scene.drag({2, 2});
  EXPECT_FALSE(scene.popover->isDetached()) << "a click that slipped";
  const QPoint before = scene.content->mapToGlobal(QPoint());
  scene.drag({300, 200});
  QWidget* const window = scene.content->window();
  EXPECT_TRUE(scene.popover->isVisible() && scene.popover->isDetached() && !scene.bubble());
  EXPECT_EQ(scene.content->mapToGlobal(QPoint()) - before, QPoint(300, 200));
  EXPECT_EQ(window->windowTitle(), "Details");
  EXPECT_EQ(window->minimumSize(), window->maximumSize());
  EXPECT_TRUE(QTest::qWaitFor([&] { return scene.field->hasFocus(); }));
  EXPECT_EQ(scene.field->selectedText(), "me ");

  window->showMinimized();
  scene.window.activateWindow();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&scene.window));
  EXPECT_FALSE(scene.show() || window->isMinimized());
  EXPECT_TRUE(QTest::qWaitForWindowActive(window));
  scene.popover->syncContentSize({-1, 90});
  EXPECT_EQ(window->size(), QSize(1, 90));
  scene.popover->close();
  EXPECT_FALSE(scene.popover->isVisible());
  EXPECT_TRUE(scene.show() && scene.popover->isDetached());
  EXPECT_EQ(scene.content->size(), QSize(1, 90));
}

TEST(PopoverTest, TellsItsDelegateOnceAndDropsTheContent) {
  const auto flush = [] { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); };
  const auto delegate = std::make_shared<Delegate>();
  for (const bool detached : {false, true}) {
    Scene scene;
    int count = 0;
    delegate->act = [&](Popover& popover) { count += popover.isVisible() || scene.bubble() ? 10 : 1; };
    scene.popover->setDelegate(delegate);
    scene.show();
    if (detached) scene.drag({300, 200});
    EXPECT_EQ(count, 0);
    for (int i = 0; i < 2; ++i) scene.popover->close();
    EXPECT_TRUE(!scene.show() && count == 1 && delegate.use_count() == 1);
    EXPECT_DEATH(scene.popover->viewController(), "fatal: Popover.viewController: it has been dropped");
    EXPECT_DEATH(scene.popover->syncContentSize({1, 1}), "fatal: Popover.syncContentSize");
    flush();
    EXPECT_FALSE(scene.content);
  }
  Scene scene;  // whose content closes it and is kept, and whose popover is deleted on the way
  delegate->act = [&](Popover& popover) {
    popover.viewController()->setParent(&scene.window);
    scene.popover.reset();
  };
  scene.popover->setDelegate(delegate);
  scene.show();
  QObject::connect(scene.field, &QLineEdit::returnPressed, scene.popover.get(), &Popover::close);
  QTest::keyClick(scene.field, Qt::Key_Return);
  flush();
  EXPECT_TRUE(scene.content && !scene.popover);
}

bool isFading() {
  return std::ranges::any_of(QApplication::topLevelWidgets(), [](const QWidget* widget) {
    return widget->windowType() == Qt::ToolTip && widget->isVisible();
  });
}

bool hasColor(QPoint place, const QColor& color) {
  return QTest::qWaitFor([&] {
    QScreen* const screen = QGuiApplication::primaryScreen();
    return screen->grabWindow(0, place.x(), place.y(), 1, 1).toImage().pixelColor(0, 0) == color;
  });
}

// With a real mouse, window manager and, from the second round on, compositing manager. In the third, motion is reduced
// and the anchor's window has no frame.
TEST(X11PopoverTest, IsRightWithAndWithoutCompositing) {
  const auto mouse = [](QPoint place, const char* rest) {
    run(QString("xdotool mousemove %1 %2 %3").arg(place.x()).arg(place.y()).arg(rest));
  };
  FakePlatform fake;
  QProcess compositor;
  for (const int round : {0, 1, 2}) {
    if (round == 1) compositor.start("xcompmgr", {});
    EXPECT_TRUE(QTest::qWaitFor([&] { return platform().displayServer().isComposited() == (round > 0); }));
    if (round == 2) fake.appearance->set({.reducedMotion = true});
    Scene scene(true, round == 2 ? Qt::FramelessWindowHint : Qt::WindowFlags());
    scene.window.setPalette(QColor(Qt::green));
    scene.window.move(500, 200);
    EXPECT_TRUE(hasColor({520, 240}, Qt::green));
    const QRect frame = scene.show(Qt::TopEdge)->geometry();
    const QColor paper = scene.bubble()->palette().color(QPalette::Window);
    EXPECT_TRUE(hasColor(scene.content->mapToGlobal(QPoint(-4, 50)), paper)) << round;
    EXPECT_TRUE(hasColor(frame.bottomLeft(), Qt::green)) << round;
    mouse({20, 880}, "click 1");
    EXPECT_TRUE(QTest::qWaitFor([&] { return !scene.bubble(); }));
    scene.show();
    scene.popover->close();
    EXPECT_EQ(isFading(), round == 1);
    ASSERT_TRUE(scene.show());
    EXPECT_TRUE(QTest::qWaitForWindowExposed(scene.bubble()));
    const QPoint before = scene.content->mapToGlobal(QPoint());
    mouse(before + QPoint(5, 5), "key a mousedown 1 mousemove_relative 40 30 mousemove_relative 60 50 mouseup 1");
    EXPECT_TRUE(QTest::qWaitFor([&] { return scene.popover->isVisible() && scene.field->hasFocus(); }));
    EXPECT_TRUE(QTest::qWaitFor([&] { return scene.content->mapToGlobal(QPoint()) == before + QPoint(100, 80); }));
    run("xdotool key b");
    EXPECT_TRUE(QTest::qWaitFor([&] { return scene.field->text() == "ab"; }));
  }
  compositor.kill();
  compositor.waitForFinished();
}

}  // namespace
}  // namespace corvane
