#include "corvane/ui/Popover.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/Appearance.h"
#include "tests/support/Displays.h"

namespace corvane {
namespace {

static_assert(!std::is_default_constructible_v<Popover>);

struct Delegate : PopoverDelegate {
  std::function<void(Popover&)> act;
  int count = 0;
  void popoverClosed(Popover& popover) override {
    ++count;
    EXPECT_FALSE(popover.isVisible());
    if (act) act(popover);
  }
};

// A button of 80x30 at (300, 300) on the screen, and a popover with a field and, above it, a place to drag it by.
struct Scene {
  explicit Scene(bool detachable = true)
      : popover(std::make_unique<Popover>("Details", new QWidget, detachable)), content(popover->viewController()) {
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
  QWidget* show(Qt::Edge edge = Qt::BottomEdge) {
    popover->displayView(button, {}, edge);
    return bubble();
  }
  static QWidget* bubble() { return QApplication::activePopupWidget(); }
  // By a child that lets the mouse through.
  void drag(QPoint way) {
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
  QPointer<QWidget> content;
  QLineEdit* field = new QLineEdit(content);
};

TEST(PopoverTest, StandsWhereThereIsRoom) {
  Scene scene;
  const QRect anchor(scene.button->mapToGlobal(QPoint()), scene.button->size());
  // The bubble has an arrow of 10 points and a margin of 8 on each side.
  struct Row {
    QRect rect;  // on the first screen, of 1280x800
    Qt::Edge edge;
    QRect bubble;
  };
  for (const auto& [rect, edge, frame] : std::initializer_list<Row>{
           {{600, 400, 80, 30}, Qt::LeftEdge, {374, 357, 226, 116}},
           {{600, 400, 80, 30}, Qt::RightEdge, {680, 357, 226, 116}},
           {{600, 400, 80, 30}, Qt::TopEdge, {532, 274, 216, 126}},
           {{600, 400, 80, 30}, Qt::BottomEdge, {532, 430, 216, 126}},
           {{600, 644, 80, 30}, Qt::BottomEdge, {532, 674, 216, 126}},
           {{600, 645, 80, 30}, Qt::BottomEdge, {532, 519, 216, 126}},
           {{226, 400, 80, 30}, Qt::LeftEdge, {0, 357, 226, 116}},
           {{225, 400, 80, 30}, Qt::LeftEdge, {305, 357, 226, 116}},
           {{0, 0, 20, 20}, Qt::BottomEdge, {0, 20, 216, 126}},
           {{1200, 790, 80, 10}, Qt::TopEdge, {1064, 664, 216, 126}},
           {{600, 10, 80, 780}, Qt::TopEdge, {680, 342, 226, 116}},  // neither above nor below
           {{0, 0, 1280, 800}, Qt::BottomEdge, {532, 674, 216, 126}},
       }) {
    scene.popover->displayView(scene.button, rect.translated(-anchor.topLeft()), edge);
    EXPECT_EQ(scene.bubble()->geometry(), frame) << rect.x() << ' ' << rect.y() << ' ' << edge;
    EXPECT_EQ(scene.content->size(), QSize(200, 100));
  }
  scene.show();
  const QPoint before = scene.bubble()->pos();
  scene.window.move(250, 230);
  scene.button->move(90, 100);
  EXPECT_EQ(scene.bubble()->pos() - before, QPoint(40, 30)) << "it follows";
  scene.popover->syncContentSize({300, 80});
  EXPECT_EQ(scene.bubble()->size(), QSize(316, 106));
}

TEST(PopoverTest, ClosesWithItsAnchorAndKeepsItsContent) {
  Scene scene;
  QSignalSpy closed(scene.popover.get(), &Popover::closed);
  const std::vector<std::function<void()>> ways = {
      [&] { scene.popover->close(); },
      [&] { QTest::keyClick(scene.field, Qt::Key_Escape); },
      [&] {
        QTest::mouseClick(scene.bubble(), Qt::LeftButton, {}, {-5, 5});
      },
      [&] { scene.window.hide(); },
      [&] { scene.window.showMinimized(); },
      [&] { delete scene.button; },
  };
  for (std::size_t i = 0; i < ways.size(); ++i) {
    scene.window.showNormal();
    ASSERT_TRUE(scene.show()) << i;
    EXPECT_FALSE(scene.popover->isVisible());
    EXPECT_TRUE(scene.field->hasFocus());
    ways[i]();
    EXPECT_FALSE(scene.bubble()) << i;
    EXPECT_EQ(closed.size(), static_cast<int>(i) + 1);
  }
  QPushButton hidden;
  scene.popover->displayView(&hidden, {}, Qt::TopEdge);
  EXPECT_TRUE(!scene.bubble() && scene.content);
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

  scene.window.activateWindow();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&scene.window));
  EXPECT_FALSE(scene.show());
  EXPECT_TRUE(QTest::qWaitForWindowActive(window));
  scene.popover->syncContentSize({-1, 90});
  EXPECT_EQ(window->size(), QSize(1, 90));
  scene.popover->syncContentSize({220, 90});
  scene.popover->close();
  EXPECT_FALSE(scene.popover->isVisible());
  EXPECT_TRUE(scene.show() && scene.popover->isDetached());
  EXPECT_EQ(scene.content->size(), QSize(220, 90));
}

TEST(PopoverTest, TellsItsDelegateOnceAndDropsTheContent) {
  const auto flush = [] { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); };
  for (const bool detached : {false, true}) {
    Scene scene;
    const auto delegate = std::make_shared<Delegate>();
    scene.popover->setDelegate(delegate);
    scene.show();
    if (detached) scene.drag({300, 200});
    EXPECT_EQ(delegate->count, 0);
    scene.popover->close();
    EXPECT_EQ(delegate->count, 1);
    EXPECT_EQ(delegate.use_count(), 1);
    EXPECT_FALSE(scene.show());
    scene.popover->close();
    EXPECT_DEATH(scene.popover->viewController(), "fatal: Popover.viewController: it has been dropped");
    EXPECT_DEATH(scene.popover->syncContentSize({1, 1}), "fatal: Popover.syncContentSize");
    flush();
    EXPECT_FALSE(scene.content);
  }
  Scene scene;  // whose content is kept, and closes it, and whose popover is deleted on the way
  const auto delegate = std::make_shared<Delegate>();
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

}  // namespace
}  // namespace corvane
