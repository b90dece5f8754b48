#pragma once

#include <QHeaderView>
#include <QStyledItemDelegate>

#include "corvane/platform/Export.h"

namespace corvane {

/// Draws the cells of tables, trees and lists whose rows are selected as a whole: rows are as high everywhere, columns
/// do not touch, a selected cell does not stand out because it has the focus, and where the program reads from right to
/// left, paths and names in Latin letters still read from left to right. Main thread.
class CORVANE_API CellDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  /// The least height of a row of this view, in points.
  static int rowHeight(const QWidget& view);

  QString displayText(const QVariant& value, const QLocale& locale) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

/// The titles above such cells, as wide as their texts and movable; the last one takes the space that is left. Main
/// thread.
class CORVANE_API CellHeader : public QHeaderView {
  Q_OBJECT

 public:
  /// A horizontal header.
  explicit CellHeader(QWidget* parent = nullptr);

 protected:
  void initStyleOptionForIndex(QStyleOptionHeader* option, int column) const override;
  QSize sectionSizeFromContents(int column) const override;
};

/// Writes a text into the middle of a view that has no rows. To be called when its viewport() has been painted.
CORVANE_API void drawPlaceholder(QWidget& viewport, const QString& text);

}  // namespace corvane
