#include "apps/inspector/window/ValueDelegate.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <limits>

namespace corvane::inspector {

namespace {

constexpr qsizetype MAX_LENGTH = 10'000;  // characters: longer lines make the field slow

// Of an editor: what it began with, and of which kind that is.
constexpr char INITIAL[] = "initial";
constexpr char KIND[] = "kind";

QString textIn(const QWidget* editor) {
  const auto* const choice = qobject_cast<const QComboBox*>(editor);
  return choice ? choice->currentText() : static_cast<const QLineEdit*>(editor)->text();
}

bool isUntouched(const QWidget* editor) {
  return textIn(editor) == editor->property(INITIAL).toString();
}

tl::expected<Value, QString> valueIn(const QWidget* editor) {
  return parseValue(static_cast<ValueKind>(editor->property(KIND).toInt()), textIn(editor));
}

}  // namespace

QWidget* ValueDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex& index) const {
  const Value* const value = m_valueOf(index);
  if (!value) return nullptr;
  const QString text = editable(*value);
  if (text.size() > MAX_LENGTH) {
    Q_EMIT refused(tr("This value is too long to be edited here."));
    return nullptr;
  }
  QWidget* editor = nullptr;
  if (value->isBool()) {
    auto* const choice = new QComboBox(parent);
    for (const bool truth : {true, false}) choice->addItem(editable(Value(truth)));
    editor = choice;
  } else {
    auto* const field = new QLineEdit(parent);
    field->setFrame(false);
    field->setMaxLength(std::numeric_limits<int>::max());
    editor = field;
  }
  editor->setAutoFillBackground(true);
  editor->setAccessibleName(index.siblingAtColumn(0).data().toString());
  editor->setProperty(KIND, static_cast<int>(kindOf(*value)));
  return editor;
}

void ValueDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
  if (editor->property(INITIAL).isValid()) return;
  const QString text = index.data(Qt::EditRole).toString();
  editor->setProperty(INITIAL, text);
  if (auto* const choice = qobject_cast<QComboBox*>(editor))
    choice->setCurrentText(text);
  else
    static_cast<QLineEdit*>(editor)->setText(text);
}

void ValueDelegate::setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const {
  if (isUntouched(editor)) return;
  const auto value = valueIn(editor);
  if (value)
    Q_EMIT entered(index, *value);
  else
    Q_EMIT refused(value.error());
}

bool ValueDelegate::eventFilter(QObject* object, QEvent* event) {
  const auto* const editor = qobject_cast<QWidget*>(object);
  if (editor && event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    const bool ends = key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Tab || key == Qt::Key_Backtab;
    if (ends && !isUntouched(editor))
      if (const auto value = valueIn(editor); !value) {
        Q_EMIT refused(value.error());
        return true;
      }
  }
  return CellDelegate::eventFilter(object, event);
}

}  // namespace corvane::inspector
