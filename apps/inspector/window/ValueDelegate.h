#pragma once

#include <functional>

#include "apps/inspector/window/ValueText.h"
#include "corvane/ui/CellDelegate.h"

namespace corvane::inspector {

/// Edits values in their cells, each kind in its own way. A text that does not suit is not taken by Return, and given
/// up with a word when the cell is left. What a program changes meanwhile does not disturb who is typing.
class ValueDelegate : public CellDelegate {
  Q_OBJECT

 public:
  using ValueOf = std::function<const Value*(const QModelIndex&)>;
  explicit ValueDelegate(ValueOf valueOf, QObject* parent) : CellDelegate(parent), m_valueOf(std::move(valueOf)) {}

  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  void setEditorData(QWidget* editor, const QModelIndex& index) const override;
  void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;

 Q_SIGNALS:
  /// The user has entered another value.
  void entered(const QModelIndex& index, const corvane::Value& value) const;
  /// What the user has typed, or wants, is not possible.
  void refused(const QString& reason) const;

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  const ValueOf m_valueOf;
};

}  // namespace corvane::inspector
