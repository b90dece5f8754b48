#pragma once

#include <QAbstractSpinBox>
#include <cstdint>
#include <limits>

namespace corvane {

/// The two arrows of a NumberStepper: a spin box without its field, with 64 bits. It never takes the focus.
class StepperArrows : public QAbstractSpinBox {
  Q_OBJECT
  // What screen readers ask for.
  Q_PROPERTY(qlonglong value READ value WRITE stepTo)
  Q_PROPERTY(qlonglong minimum READ minimum)
  Q_PROPERTY(qlonglong maximum READ maximum)
  Q_PROPERTY(qlonglong singleStep READ increment)

 public:
  explicit StepperArrows(QWidget* parent = nullptr);

  std::int64_t value() const { return m_value; }
  std::int64_t minimum() const { return m_minimum; }
  std::int64_t maximum() const { return m_maximum; }
  std::int64_t increment() const { return m_increment; }
  /// These change nothing else: a value outside the bounds stays until the next step.
  void setValue(std::int64_t value);
  void setMinimum(std::int64_t minimum);
  void setMaximum(std::int64_t maximum);
  void setIncrement(std::int64_t increment) { m_increment = increment; }

  /// Changes the value by some increments, as far as the bounds allow, and sends stepped().
  void stepBy(int steps) override;
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 Q_SIGNALS:
  /// The user has clicked an arrow, turned the wheel or pressed a key.
  void stepped();

 protected:
  StepEnabled stepEnabled() const override;

 private:
  void stepTo(qlonglong value);

  std::int64_t m_value = 0;
  std::int64_t m_minimum = std::numeric_limits<std::int64_t>::min();
  std::int64_t m_maximum = std::numeric_limits<std::int64_t>::max();
  std::int64_t m_increment = 1;
};

}  // namespace corvane
