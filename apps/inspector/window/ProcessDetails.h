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
  /// For a place that is wide and low, or one of its own, which has room for the number of open files, too.
  enum class Shape { WIDE, OWN };
  explicit ProcessDetails(Shape shape = Shape::WIDE, QWidget* parent = nullptr);

  /// Null if there is none.
  void setRow(const ProcessRow* row);

  /// What was known stays, with a title that says so.
  void setEnded(const ProcessRow& row);

  QSize sizeHint() const override;

 private:
  struct Field {
    QLabel* value;
    std::function<QString(const ProcessRow& row)> text;
  };

  void addFields(QGridLayout& grid);
  void addField(QGridLayout& grid, const QString& title, std::function<QString(const ProcessRow& row)> text);

  const Shape m_shape;
  QLabel* m_title;
  QWidget* m_body;
  QPlainTextEdit* m_command;
  std::vector<Field> m_fields;
};

}  // namespace corvane::inspector
