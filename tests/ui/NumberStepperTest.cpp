#include "corvane/ui/NumberStepper.h"

#include <gtest/gtest.h>

#include <QAbstractSpinBox>
#include <QAccessible>
#include <QLineEdit>
#include <QTest>
#include <limits>

namespace corvane {
namespace {

using Values = std::vector<std::int64_t>;

struct Listener : NumberStepperDelegate {
  Values values;
  void numberStepperValueChanged(NumberStepper& stepper) override { values.push_back(stepper.integerValue()); }
};

// A stepper from 1 to 10 at 5, in a window whose field has the focus.
struct NumberStepperTest : testing::Test {
  NumberStepperTest() {
    window.show();
    field.setFocus();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
  }
  void type(const QString& text) {
    field.selectAll();
    for (const QChar character : text) {  // of any script, unlike QTest::keyClicks
      QKeyEvent key(QEvent::KeyPress, 0, Qt::NoModifier, character);
      QCoreApplication::sendEvent(&field, &key);
    }
  }
  void click(int quarter) {
    QTest::mouseClick(&arrows, Qt::LeftButton, {}, {arrows.width() / 2, arrows.height() * quarter / 4});
  }
  void press(Qt::Key key) { QTest::keyClick(&field, key); }
  static void turnWheel(QWidget& over) {
    QWheelEvent event({5, 5}, over.mapToGlobal(QPoint(5, 5)), {}, {0, 120}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&over, &event);
  }

  QWidget window;
  const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
  NumberStepper& stepper = *new NumberStepper(&window, 1, 10, 1, 5, ControlSize::REGULAR, listener);
  QLineEdit& field = *window.findChild<QLineEdit*>("text");
  QAbstractSpinBox& arrows = *window.findChild<QAbstractSpinBox*>("stepper");
};

TEST_F(NumberStepperTest, ClampsWhatTheProgramSetsAndRefusesWhatTheUserTypes) {
  for (const std::int64_t value : {0, 11, 11, 4, 5}) stepper.setIntegerValue(value);
  EXPECT_EQ(listener->values, (Values{1, 10, 4, 5}));
  const std::map<QString, Values> rows = {{"10", {10}}, {"99", {5}}, {"0", {5}},
                                          {"abc", {5}}, {"5", {}},   {" 08 apples", {8}},
                                          {"٩", {9}},   {"-3", {5}}, {"18446744073709551622", {5}}};
  for (const auto& [typed, told] : rows) {
    stepper.setIntegerValue(5);
    listener->values.clear();
    type(typed);
    stepper.setIntegerValue(2);
    EXPECT_EQ(listener->values, Values()) << "while the user types";
    press(Qt::Key_Return);
    EXPECT_EQ(listener->values, told) << typed.toStdString();
    EXPECT_EQ(field.text(), QString::number(stepper.integerValue()));
  }
  type("7");
  press(Qt::Key_Escape);
  EXPECT_EQ(field.text(), "9");
  stepper.setIntegerValue(2);
  EXPECT_EQ(field.text(), "2") << "Escape ends typing";
}

TEST_F(NumberStepperTest, StepsByArrowsKeysAndWheel) {
  stepper.setIncrement(2);
  type("9");
  click(3);
  EXPECT_EQ(field.text(), "3") << "the arrows go on from the number before";
  for (const auto key : {Qt::Key_Up, Qt::Key_PageUp, Qt::Key_Down}) press(key);
  turnWheel(field);
  click(3);
  QAccessible::queryAccessibleInterface(&arrows)->valueInterface()->setCurrentValue(7);
  field.clearFocus();
  turnWheel(field);
  turnWheel(arrows);
  EXPECT_EQ(listener->values, (Values{3, 5, 10, 8, 10, 8, 7}));
  for (const auto end : {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    stepper.setMinValue(std::min(end, stepper.minValue()));
    stepper.setMaxValue(std::max(end, stepper.maxValue()));
    stepper.setIntegerValue(end);
    press(end < 0 ? Qt::Key_PageDown : Qt::Key_PageUp);
    EXPECT_EQ(field.text(), QString::number(end));
  }
}

TEST_F(NumberStepperTest, ShowsItsState) {
  stepper.setEnabled(false);
  stepper.setHidden(true);
  EXPECT_TRUE(!field.isEnabled() && !arrows.isEnabled() && field.isHidden() && arrows.isHidden());
  const double regular = field.font().pointSizeF();
  stepper.setSize(ControlSize::MINI);
  EXPECT_DOUBLE_EQ(field.font().pointSizeF(), regular * 9 / 13);
  EXPECT_DEATH(NumberStepper().integerValue(), "fatal: NumberStepper.integerValue: none has been set");
}

}  // namespace
}  // namespace corvane
