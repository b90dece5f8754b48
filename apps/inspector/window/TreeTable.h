#pragma once

#include <QTreeView>

namespace corvane::inspector {

/// A tree with columns that behaves as a TableView does: whole rows are selected and copied as text, a text stands in
/// the place of missing rows, and the context menu shows the actions().
class TreeTable : public QTreeView {
  Q_OBJECT

 public:
  explicit TreeTable(const QString& accessibleName);

  /// Is shown while there are no rows.
  void setPlaceholderText(const QString& text);
  const QString& placeholderText() const { return m_placeholder; }

  /// The selected rows as they are shown, a line for each, with tabs between the columns and two blanks for each row
  /// that the first one lies below.
  QString selectedText() const;

 public Q_SLOTS:
  void copy();

 protected:
  void contextMenuEvent(QContextMenuEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QString m_placeholder;
};

}  // namespace corvane::inspector
