#include "corvane/ui/NumberStepper.h"

#include <gtest/gtest.h>

#include <QAbstractSpinBox>
#include <QAccessible>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>
#include <limits>
#include <thread>

namespace corvane {
namespace {

using Values = std::vector<std::int64_t>;

struct Listener : NumberStepperDelegate {
  Values values;
  void numberStepperValueChanged(NumberStepper& stepper) override { values.push_back(stepper.integerValue()); }
};

// A stepper from 1 to 10 at 5 in a window, beside another field.
class NumberStepperTest : public testing::Test {
 protected:
  NumberStepperTest() {
    layout.addWidget(&host);
    layout.addWidget(&other);
    window.show();
    window.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    field().setFocus();
  }

  QLineEdit& field() { return *host.findChild<QLineEdit*>("text"); }
  QAbstractSpinBox& arrows() { return *host.findChild<QAbstractSpinBox*>("stepper"); }

  void type(const QString& text) {
    field().selectAll();
    for (const QChar character : text) {  // of any script, unlike QTest::keyClicks
      QKeyEvent key(QEvent::KeyPress, 0, Qt::NoModifier, character);
      QCoreApplication::sendEvent(&field(), &key);
    }
  }

  void click(bool isUp) {
    // In the middle of the upper or the lower half.
    const int y = arrows().height() * (isUp ? 1 : 3) / 4;
    QTest::mouseClick(&arrows(), Qt::LeftButton, {}, {arrows().width() / 2, y});
  }

  void turnWheel(QWidget& over) {
    QWheelEvent event(over.rect().center(), over.mapToGlobal(over.rect().center()), {}, {0, 120}, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&over, &event);
  }

  QWidget window;
  QVBoxLayout layout{&window};
  QWidget host;
  QLineEdit other;
  const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
  NumberStepper stepper{&host, 1, 10, 1, 5, ControlSize::REGULAR, listener};
};

TEST_F(NumberStepperTest, NumbersThatTheProgramSetsAreClamped) {
  QSignalSpy signal(&stepper, &NumberStepper::valueChanged);
  EXPECT_EQ(listener->values, Values()) << "of the first";
  for (const std::int64_t value : {0, 11, 11, 4}) stepper.setIntegerValue(value);
  EXPECT_EQ(listener->values, (Values{1, 10, 4}));
  EXPECT_EQ(signal.count(), 3);
  EXPECT_EQ(field().text(), "4");
  stepper.setMaxValue(3);
  EXPECT_EQ(stepper.integerValue(), 4) << "bounds change nothing";
}

TEST_F(NumberStepperTest, NumbersThatTheUserTypesAreTakenOrRefused) {
  const struct {
    const char* typed;
    std::int64_t value;
    Values told;
  } rows[] = {{"7", 7, {7}},  {"99", 5, {5}},        {"0", 5, {5}},  {"abc", 5, {5}}, {"5", 5, {}},
              {"07", 7, {7}}, {" 8 apples", 8, {8}}, {"-3", 5, {5}}, {"٩", 9, {9}},   {"99999999999999999999", 5, {5}}};
  for (const auto& row : rows) {
    stepper.setIntegerValue(5);
    listener->values.clear();
    type(row.typed);
    EXPECT_EQ(listener->values, Values()) << "while the user types " << row.typed;
    QTest::keyClick(&field(), Qt::Key_Return);
    EXPECT_EQ(stepper.integerValue(), row.value) << row.typed;
    EXPECT_EQ(field().text(), QString::number(row.value)) << row.typed;
    EXPECT_EQ(listener->values, row.told) << row.typed;
  }
}

TEST_F(NumberStepperTest, TheProgramDoesNotDisturbTyping) {
  type("7");
  stepper.setIntegerValue(2);
  EXPECT_EQ(field().text(), "7");
  other.setFocus();
  EXPECT_EQ(listener->values, Values{7});

  field().setFocus();
  type("9");
  QTest::keyClick(&field(), Qt::Key_Escape);
  EXPECT_EQ(field().text(), "7");
  stepper.setIntegerValue(2);
  EXPECT_EQ(listener->values, (Values{7, 2})) << "Escape ends typing";

  type("9");
  click(true);
  EXPECT_EQ(stepper.integerValue(), 3) << "the arrows go on from the number before";
  EXPECT_EQ(field().text(), "3");
  EXPECT_TRUE(field().hasFocus());
}

TEST_F(NumberStepperTest, StepsByArrowsKeysAndWheel) {
  stepper.setIncrement(2);
  click(false);
  QTest::keyClick(&field(), Qt::Key_Up);
  QTest::keyClick(&field(), Qt::Key_PageUp);
  QTest::keyClick(&field(), Qt::Key_Down);
  turnWheel(field());
  turnWheel(arrows());
  QTest::keyClick(&field(), Qt::Key_PageDown);
  EXPECT_EQ(listener->values, (Values{3, 5, 10, 8, 10, 1})) << "the wheel stops at a bound";
  other.setFocus();
  turnWheel(field());
  turnWheel(arrows());
  EXPECT_EQ(stepper.integerValue(), 1) << "without the focus";

  constexpr auto LEAST = std::numeric_limits<std::int64_t>::min();
  constexpr auto MOST = std::numeric_limits<std::int64_t>::max();
  stepper.setMinValue(LEAST);
  stepper.setMaxValue(MOST);
  stepper.setIntegerValue(MOST - 1);
  field().setFocus();
  QTest::keyClick(&field(), Qt::Key_PageUp);
  EXPECT_EQ(field().text(), "9223372036854775807");
  stepper.setIntegerValue(LEAST);
  QTest::keyClick(&field(), Qt::Key_Down);
  EXPECT_EQ(stepper.integerValue(), LEAST);
}

TEST_F(NumberStepperTest, ShowsItsState) {
  window.setLayoutDirection(Qt::RightToLeft);
  QCoreApplication::sendPostedEvents();
  EXPECT_LT(arrows().x(), field().x());
  click(true);
  EXPECT_EQ(stepper.integerValue(), 6) << "from right to left";
  listener->values.clear();
  stepper.setEnabled(false);
  EXPECT_FALSE(stepper.isEnabled() || field().isEnabled() || arrows().isEnabled());
  stepper.setHidden(true);
  EXPECT_TRUE(stepper.isHidden() && field().isHidden() && arrows().isHidden());
  int last = 0;
  for (const auto size : {ControlSize::MINI, ControlSize::SMALL, ControlSize::REGULAR, ControlSize::LARGE}) {
    stepper.setSize(size);
    EXPECT_EQ(stepper.size(), size);
    EXPECT_GT(field().font().pointSizeF() * 10, last);
    EXPECT_EQ(field().height(), arrows().height());
    last = static_cast<int>(field().font().pointSizeF() * 10);
  }
  stepper.setAccessibleName("Interval");
  QAccessibleInterface* const reader = QAccessible::queryAccessibleInterface(&arrows());
  EXPECT_EQ(reader->text(QAccessible::Name), "Interval");
  reader->valueInterface()->setCurrentValue(8);
  EXPECT_EQ(listener->values, Values{8});
}

TEST_F(NumberStepperTest, MistakesOfTheProgramAreFatal) {
  EXPECT_DEATH(NumberStepper().integerValue(), "fatal: NumberStepper.integerValue: none has been set");
  EXPECT_DEATH(std::jthread([&] { stepper.setIntegerValue(1); }).join(), "not on the main thread");
  EXPECT_DEATH(
      {
        delete &field();
        stepper.setIntegerValue(1);
      },
      "fatal: NumberStepper: its text field has been deleted");
}

TEST(NumberStepperOwnershipTest, TheHostOwnsIt) {
  auto host = std::make_unique<QWidget>();
  const QPointer<NumberStepper> stepper = new NumberStepper(host.get(), 1, 2, 1, 1);
  const QPointer<QWidget> view = stepper->view();
  EXPECT_EQ(view->parentWidget(), host.get());
  host.reset();
  EXPECT_TRUE(!stepper && !view);
}

}  // namespace
}  // namespace corvane
