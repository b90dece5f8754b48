#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QWidget>
#include <cstdint>
#include <memory>
#include <optional>

#include "corvane/platform/Export.h"

class QLineEdit;

namespace corvane {

class NumberStepper;
class StepperArrows;

/// The sizes of a control: text of 13, 11, 9 and 15 parts where the application's has 13.
enum class ControlSize : std::uint8_t { REGULAR = 0, SMALL = 1, MINI = 2, LARGE = 3 };

/// Is told of the changes of a NumberStepper, as its signal is sent.
class CORVANE_API NumberStepperDelegate {
 public:
  virtual ~NumberStepperDelegate() = default;

  /// The stepper has another integerValue(), set by the user or by the program; or it has put the same one back after
  /// something else had been typed.
  virtual void numberStepperValueChanged(NumberStepper&) {}
};

/// A field for a whole number within bounds, beside two arrows. The controller of its view(): it fills a widget of
/// yours, and belongs to it. Main thread.
///
///     auto* const seconds = new NumberStepper(host, 1, 60, 1, 10);
///     connect(seconds, &NumberStepper::valueChanged, this, &Window::setInterval);
///
/// **Out of range.** A number that the program sets, or that the arrows reach, becomes the nearest bound. A number that
/// the user types is refused instead: when typing ends the previous one is back, and so for letters, which count as 0.
///
/// **Typing** begins with the first change to the text and ends with Return, when the field loses the focus, or with a
/// click on the arrows, which goes on from the number before. Meanwhile numbers set by the program are ignored. Escape
/// puts the previous number back.
///
/// **Keys.** In the field Up and Down step once, Page Up and Page Down ten times; so does the wheel, but only while the
/// field has the focus, so that scrolling a page changes nothing. The digits of any script are understood. Numbers are
/// shown without separators.
///
/// Bounds and numbers have 64 bits. Setting a bound does not change the number. Members that need the field or the
/// arrows are fatal once these have been deleted.
class CORVANE_API NumberStepper : public QObject {
  Q_OBJECT

 public:
  /// A stepper that fills `host`: it is put into its layout, or gets one. Sets the number and the size, then the
  /// delegate, which is not told of the first number. Deleted with the host.
  NumberStepper(QWidget* host, std::int64_t min, std::int64_t max, std::int64_t incr, std::int64_t defaultValue,
                ControlSize size = ControlSize::REGULAR, std::weak_ptr<NumberStepperDelegate> delegate = {});
  /// A stepper without a number, bounds or a place; its view is yours to place.
  explicit NumberStepper(QObject* parent = nullptr);
  ~NumberStepper() override;

  /// The field and the arrows. It passes the focus on to the field, so a label can have it as its buddy.
  QWidget* view() const { return m_view; }

  /// The number; fatal before one has been set.
  std::int64_t integerValue() const;
  /// Sets the number, or the nearest bound. Does nothing while the user types.
  void setIntegerValue(std::int64_t value);

  /// The bounds, and how far one step goes.
  std::int64_t minValue() const;
  void setMinValue(std::int64_t value);
  std::int64_t maxValue() const;
  void setMaxValue(std::int64_t value);
  std::int64_t increment() const;
  void setIncrement(std::int64_t value);

  /// The values that were set, whatever the host's are.
  bool isEnabled() const { return m_enabled; }
  void setEnabled(bool enabled);
  bool isHidden() const { return m_hidden; }
  void setHidden(bool hidden);

  /// The size of the text.
  ControlSize size() const { return m_size; }
  void setSize(ControlSize size);

  /// Who is told of changes; may be gone.
  std::weak_ptr<NumberStepperDelegate> delegate() const { return m_delegate; }
  void setDelegate(std::weak_ptr<NumberStepperDelegate> delegate) { m_delegate = std::move(delegate); }

  /// What screen readers call field and arrows; at first the host's name.
  void setAccessibleName(const QString& name);

 Q_SIGNALS:
  /// See NumberStepperDelegate::numberStepperValueChanged; the delegate hears of it first.
  void valueChanged(qlonglong value);

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void stepperAction();
  void controlTextDidBeginEditing() { m_editing = true; }
  void controlTextDidEndEditing();
  void cancelEditing();
  void show(std::int64_t value);

  QLineEdit& text() const;
  StepperArrows& stepper() const;

  QPointer<QWidget> m_view;
  QPointer<QLineEdit> m_text;
  QPointer<StepperArrows> m_stepper;
  std::weak_ptr<NumberStepperDelegate> m_delegate;
  ControlSize m_size = ControlSize::REGULAR;
  bool m_enabled = true;
  bool m_hidden = false;
  bool m_editing = false;
  std::optional<std::int64_t> m_value;
};

}  // namespace corvane
