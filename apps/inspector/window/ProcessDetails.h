#pragma once

#include <QLabel>
#include <QPlainTextEdit>
#include <QWidget>
#include <functional>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"

class QGridLayout;

namespace corvane::inspector {

/// What is known about one process, as texts that can be selected.
class ProcessDetails : public QWidget {
  Q_OBJECT

 public:
  explicit ProcessDetails(QWidget* parent = nullptr);

  /// Null if there is none.
  void setRow(const ProcessRow* row);

  QSize sizeHint() const override;

 private:
  struct Field {
    QLabel* value;
    std::function<QString(const ProcessRow& row)> text;
  };

  void addField(QGridLayout& grid, const QString& title, std::function<QString(const ProcessRow& row)> text);

  QLabel* m_title;
  QWidget* m_body;
  QPlainTextEdit* m_command;
  std::vector<Field> m_fields;
};

}  // namespace corvane::inspector
