#include "apps/inspector/window/AddSettingDialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <limits>

#include "apps/inspector/window/Shown.h"
#include "apps/inspector/window/ValueText.h"

namespace corvane::inspector {

AddSettingDialog::AddSettingDialog(const QString& place, bool hasKey, Add add, QWidget* parent)
    : QDialog(parent),
      m_add(std::move(add)),
      m_key(new QLineEdit),
      m_kind(new QComboBox),
      m_value(new QLineEdit),
      m_failure(new QLabel) {
  setWindowTitle(tr("Add to %1").arg(place));
  for (int kind = 0; kind < VALUE_KINDS; ++kind) m_kind->addItem(nameOf(static_cast<ValueKind>(kind)));
  m_value->setMaxLength(std::numeric_limits<int>::max());
  m_value->setMinimumWidth(fontMetrics().averageCharWidth() * 40);
  m_failure->setWordWrap(true);
  m_failure->setTextFormat(Qt::PlainText);
  m_failure->hide();
  auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  buttons->button(QDialogButtonBox::Ok)->setText(tr("&Add"));
  auto* const form = new QFormLayout(this);
  form->addRow(tr("&Key"), m_key);
  form->setRowVisible(m_key, hasKey);
  form->addRow(tr("K&ind"), m_kind);
  form->addRow(tr("&Value"), m_value);
  form->addRow(m_failure);
  form->addRow(buttons);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(m_kind, &QComboBox::currentIndexChanged, this, &AddSettingDialog::noteKind);
  noteKind();
}

void AddSettingDialog::noteKind() {
  const auto kind = static_cast<ValueKind>(m_kind->currentIndex());
  m_value->setEnabled(!isContainer(kind));
  switch (kind) {
    case ValueKind::BOOLEAN:
      return m_value->setPlaceholderText(valueText(Value(true)) + u'/' + valueText(Value(false)));
    case ValueKind::DATE:
      return m_value->setPlaceholderText(QStringLiteral("2026-03-07 09:05:00"));
    case ValueKind::DATA:
      return m_value->setPlaceholderText(QStringLiteral("00 1f ff"));
    default:
      return m_value->setPlaceholderText({});
  }
}

void AddSettingDialog::accept() {
  if (m_key->isVisible() && m_key->text().isEmpty()) return tell(tr("The key is missing."));
  const auto value = parseValue(static_cast<ValueKind>(m_kind->currentIndex()), m_value->text());
  if (!value) return tell(value.error());
  if (const auto added = m_add(m_key->text().toStdString(), *value); !added)
    return tell(shown(added.error().description));
  QDialog::accept();
}

void AddSettingDialog::tell(const QString& failure) {
  m_failure->setText(failure);
  m_failure->show();
}

}  // namespace corvane::inspector
