#include "corvane/ui/StepperArrows.h"

#include <QLineEdit>
#include <QStyleOptionSpinBox>
#include <algorithm>

namespace corvane {

StepperArrows::StepperArrows(QWidget* parent) : QAbstractSpinBox(parent) {
  lineEdit()->hide();
  setFrame(false);
  setFocusPolicy(Qt::NoFocus);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void StepperArrows::setValue(std::int64_t value) {
  m_value = value;
  update();  // an arrow at its end is drawn as disabled
}

void StepperArrows::setMinimum(std::int64_t minimum) {
  m_minimum = minimum;
  update();
}

void StepperArrows::setMaximum(std::int64_t maximum) {
  m_maximum = maximum;
  update();
}

void StepperArrows::stepBy(int steps) {
  std::int64_t by = 0;
  std::int64_t to = 0;
  const bool isUp = (steps < 0) == (m_increment < 0);
  if (__builtin_mul_overflow(m_increment, steps, &by) || __builtin_add_overflow(m_value, by, &to))
    to = isUp ? m_maximum : m_minimum;
  stepTo(to);
}

void StepperArrows::stepTo(qlonglong value) {
  setValue(std::min(std::max<std::int64_t>(value, m_minimum), m_maximum));
  Q_EMIT stepped();
}

QAbstractSpinBox::StepEnabled StepperArrows::stepEnabled() const {
  const bool isReversed = m_increment < 0;
  StepEnabled enabled = StepNone;
  if (m_value < m_maximum) enabled |= isReversed ? StepDownEnabled : StepUpEnabled;
  if (m_value > m_minimum) enabled |= isReversed ? StepUpEnabled : StepDownEnabled;
  return enabled;
}

QSize StepperArrows::sizeHint() const {
  QStyleOptionSpinBox option;
  initStyleOption(&option);
  option.rect = QRect(QPoint(), QAbstractSpinBox::sizeHint());
  const auto width = [&](QStyle::SubControl arrow) {
    return style()->subControlRect(QStyle::CC_SpinBox, &option, arrow, this).width();
  };
  return {std::max(width(QStyle::SC_SpinBoxUp), width(QStyle::SC_SpinBoxDown)), option.rect.height()};
}

}  // namespace corvane
