#include "corvane/ui/NumberStepper.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "corvane/core/fatal.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/StepperArrows.h"
#include "ui_NumberStepper.h"

namespace corvane {

namespace {

constexpr std::array<double, 4> FONT_PARTS = {13, 11, 9, 15};  // by ControlSize
constexpr int PAGE = 10;                                       // steps

// The number that a text begins with, in the digits of any script; 0 if there is none, the nearest if it is too large.
std::int64_t numberIn(const QString& text) {
  const QString rest = text.trimmed();
  const bool isNegative = rest.startsWith(u'-') || rest.startsWith(QChar(0x2212));
  std::int64_t number = 0;
  for (qsizetype i = isNegative || rest.startsWith(u'+') ? 1 : 0; i < rest.size(); ++i) {
    const int digit = rest[i].digitValue();
    if (digit < 0) break;
    if (__builtin_mul_overflow(number, 10, &number) ||
        __builtin_add_overflow(number, isNegative ? -digit : digit, &number))
      return isNegative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }
  return number;
}

int stepsOf(const QKeyEvent& key) {
  if ((key.modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier) return 0;
  switch (key.key()) {
    case Qt::Key_Up:
      return 1;
    case Qt::Key_Down:
      return -1;
    case Qt::Key_PageUp:
      return PAGE;
    case Qt::Key_PageDown:
      return -PAGE;
    default:
      return 0;
  }
}

}  // namespace

NumberStepper::NumberStepper(QObject* parent) : QObject(parent) {
  requireMainThread("NumberStepper");
  m_view = new QWidget;
  Ui::NumberStepper interface;
  interface.setupUi(m_view);
  m_text = interface.text;
  m_stepper = interface.stepper;
  m_view->setFocusProxy(m_text);
  m_text->installEventFilter(this);
  m_stepper->installEventFilter(this);
  connect(m_text, &QLineEdit::textEdited, this, &NumberStepper::controlTextDidBeginEditing);
  connect(m_text, &QLineEdit::editingFinished, this, &NumberStepper::controlTextDidEndEditing);
  connect(m_stepper, &StepperArrows::stepped, this, &NumberStepper::stepperAction);
}

NumberStepper::NumberStepper(QWidget* host, std::int64_t min, std::int64_t max, std::int64_t incr,
                             std::int64_t defaultValue, ControlSize size, std::weak_ptr<NumberStepperDelegate> delegate)
    : NumberStepper(host) {
  QLayout* layout = host->layout();
  if (!layout) {
    layout = new QHBoxLayout(host);
    layout->setContentsMargins({});
  }
  layout->addWidget(m_view);
  setAccessibleName(host->accessibleName());
  setMinValue(min);
  setMaxValue(max);
  setIncrement(incr);
  setIntegerValue(defaultValue);
  setSize(size);
  setDelegate(std::move(delegate));
}

NumberStepper::~NumberStepper() {
  delete m_view;
}

QLineEdit& NumberStepper::text() const {
  if (!m_text) fatal("NumberStepper: its text field has been deleted");
  return *m_text;
}

StepperArrows& NumberStepper::stepper() const {
  if (!m_stepper) fatal("NumberStepper: its stepper has been deleted");
  return *m_stepper;
}

std::int64_t NumberStepper::integerValue() const {
  if (!m_value) fatal("NumberStepper.integerValue: none has been set");
  return *m_value;
}

void NumberStepper::setIntegerValue(std::int64_t value) {
  requireMainThread("NumberStepper.setIntegerValue");
  if (m_editing) return;
  value = std::min(std::max(value, minValue()), maxValue());
  if (m_value == value && numberIn(text().text()) == value && stepper().value() == value) return;
  m_value = value;
  show(value);
  stepper().setValue(value);
  if (const auto delegate = m_delegate.lock()) delegate->numberStepperValueChanged(*this);
  Q_EMIT valueChanged(value);
}

std::int64_t NumberStepper::minValue() const {
  return stepper().minimum();
}

void NumberStepper::setMinValue(std::int64_t value) {
  stepper().setMinimum(value);
}

std::int64_t NumberStepper::maxValue() const {
  return stepper().maximum();
}

void NumberStepper::setMaxValue(std::int64_t value) {
  stepper().setMaximum(value);
}

std::int64_t NumberStepper::increment() const {
  return stepper().increment();
}

void NumberStepper::setIncrement(std::int64_t value) {
  stepper().setIncrement(value);
}

void NumberStepper::setEnabled(bool enabled) {
  m_enabled = enabled;
  stepper().setEnabled(enabled);
  text().setEnabled(enabled);
}

void NumberStepper::setHidden(bool hidden) {
  m_hidden = hidden;
  stepper().setHidden(hidden);
  text().setHidden(hidden);
}

void NumberStepper::setSize(ControlSize size) {
  m_size = size;
  const QFont standard = QApplication::font("QLineEdit");
  const double scale = FONT_PARTS.at(static_cast<std::size_t>(size)) / FONT_PARTS.front();
  QFont font = text().font();
  if (standard.pixelSize() > 0 && standard.pointSizeF() <= 0)
    font.setPixelSize(std::max(1, qRound(standard.pixelSize() * scale)));
  else
    font.setPointSizeF(standard.pointSizeF() * scale);
  text().setFont(font);
  text().setFixedHeight(text().sizeHint().height());
  stepper().setFont(font);
  stepper().setFixedSize(stepper().sizeHint().width(), text().height());
}

void NumberStepper::setAccessibleName(const QString& name) {
  text().setAccessibleName(name);
  stepper().setAccessibleName(name);
}

bool NumberStepper::eventFilter(QObject* object, QEvent* event) {
  // Others also come while a widget is being destroyed.
  if (event->type() != QEvent::Wheel && event->type() != QEvent::KeyPress) return false;
  if (!m_text || !m_stepper) return false;
  if (event->type() == QEvent::Wheel) {
    if (!m_text->hasFocus()) {
      event->ignore();
      return object == m_stepper;  // what scrolls around it gets the event
    }
    if (object == m_text) return QCoreApplication::sendEvent(m_stepper, event);
  }
  if (object != m_text || event->type() != QEvent::KeyPress) return false;
  const auto& key = static_cast<const QKeyEvent&>(*event);
  if (key.key() == Qt::Key_Escape && m_editing) {
    cancelEditing();
    return true;
  }
  const int steps = stepsOf(key);
  if (steps != 0 && !m_text->isReadOnly()) m_stepper->stepBy(steps);
  return steps != 0;
}

void NumberStepper::stepperAction() {
  m_editing = false;
  setIntegerValue(stepper().value());
}

void NumberStepper::controlTextDidEndEditing() {
  m_editing = false;
  const std::int64_t typed = numberIn(text().text());
  if (m_value == typed)
    show(typed);  // "7 apples" or "007" reads as 7
  else
    setIntegerValue(typed >= minValue() && typed <= maxValue() ? typed : integerValue());
}

void NumberStepper::cancelEditing() {
  m_editing = false;
  if (m_value)
    show(*m_value);
  else
    text().clear();
}

void NumberStepper::show(std::int64_t value) {
  text().setText(QString::number(value));
  if (!text().hasFocus()) text().home(false);  // a number that is too wide is cut at its end
}

}  // namespace corvane
