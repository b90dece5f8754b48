#pragma once

#include <QHeaderView>
#include <QStyledItemDelegate>

namespace corvane::inspector {

/// Draws the cells of trees, lists and tables: rows are as high everywhere, columns do not touch, and where the program
/// reads from right to left, paths and names in Latin letters still read from left to right.
class CellDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  QString displayText(const QVariant& value, const QLocale& locale) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

/// The titles above such cells.
class CellHeader : public QHeaderView {
  Q_OBJECT

 public:
  explicit CellHeader(QWidget* parent);

 protected:
  void initStyleOptionForIndex(QStyleOptionHeader* option, int column) const override;
};

}  // namespace corvane::inspector
