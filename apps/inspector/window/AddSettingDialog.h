#pragma once

#include <QDialog>
#include <functional>
#include <string>

#include "corvane/platform/Result.h"
#include "corvane/platform/Value.h"

class QComboBox;
class QLabel;
class QLineEdit;

namespace corvane::inspector {

/// Asks for a key, a kind and a value, and stays open until they could be added.
class AddSettingDialog : public QDialog {
  Q_OBJECT

 public:
  using Add = std::function<Result<void>(const std::string& key, const Value& value)>;

  /// `place` says where they are added. Elements of an array have no key.
  AddSettingDialog(const QString& place, bool hasKey, Add add, QWidget* parent);

  void accept() override;

 private:
  void noteKind();
  void tell(const QString& failure);

  const Add m_add;
  QLineEdit* m_key;
  QComboBox* m_kind;
  QLineEdit* m_value;
  QLabel* m_failure;
};

}  // namespace corvane::inspector
