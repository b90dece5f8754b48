#pragma once

#include <QPersistentModelIndex>
#include <QString>
#include <QTableView>
#include <utility>
#include <vector>

#include "corvane/platform/Export.h"

namespace corvane {

/// A table for a RowModel: whole rows are selected, also by dragging; a click on a header sorts, if the column can be
/// sorted by; columns are moved by dragging and hidden in the header's context menu; Home and End go to the first and
/// the last row. Selected rows are copied as text, by the standard key or the context menu.
///
/// New rows do not disturb whoever reads: the selection follows its rows, and the view scrolls with the rows in it if
/// most of them move by as much, as when others are added above. Scrolled to the top it stays at the top.
///
/// The context menu shows the view's actions() and then Copy and Select All. Main thread.
class CORVANE_API TableView : public QTableView {
  Q_OBJECT

 public:
  explicit TableView(QWidget* parent = nullptr);  ///< a table without a model

  /// A model whose headerData() answers as RowModel's does: its Qt::InitialSortOrderRole tells that the column can be
  /// sorted by, its COLUMN_ID_ROLE the column's id. At first columns are as wide as their titles and some characters.
  void setModel(QAbstractItemModel* model) override;

  /// Goes to the next row whose first text begins so, whichever column was clicked.
  void keyboardSearch(const QString& search) override;

  /// Is shown while there are no rows.
  void setPlaceholderText(const QString& text);
  const QString& placeholderText() const { return m_placeholder; }

  /// The selected rows as they are shown, a line for each, with tabs between the columns; hidden columns are left out.
  /// Several rows come after a line with the titles. Tabs and line breaks within a cell become blanks.
  QString selectedText() const;

  /// What the user can change about the columns, their order, widths, and visibility, and by which the rows are sorted,
  /// as a short text to be stored.
  QString state() const;

  /// Restores a state() of this or another table. Columns that it does not name come last, as they are; columns that
  /// are not there any more are skipped. False, and nothing changes, if the text is no state, or no column would be
  /// left.
  bool restoreState(const QString& state);

 public Q_SLOTS:
  /// Puts selectedText() on the clipboard; nothing if no row is selected.
  void copy();

 protected:
  void changeEvent(QEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  struct Column;

  QString titleOf(int column) const;
  QString idOf(int column) const;
  int columnOf(const QString& id) const;
  bool canSortBy(int column) const;
  bool isNumber(int column) const;
  std::vector<int> shownColumns() const;
  void showHeaderMenu(const QPoint& at);
  void updateRowHeight();
  void sortIndicatorMoved(int column, Qt::SortOrder order);
  void rememberView();
  void followView();

  QString m_placeholder;
  int m_sortColumn = -1;
  Qt::SortOrder m_order = Qt::AscendingOrder;
  std::vector<std::pair<int, QPersistentModelIndex>> m_inView;  // where rows were, while their layout changes
};

}  // namespace corvane
