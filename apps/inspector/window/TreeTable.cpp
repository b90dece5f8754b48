#include "apps/inspector/window/TreeTable.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>

#include "corvane/ui/CellDelegate.h"

namespace corvane::inspector {

TreeTable::TreeTable(const QString& accessibleName) {
  setAccessibleName(accessibleName);
  setItemDelegate(new CellDelegate(this));
  setFrameShape(QFrame::NoFrame);
  setSelectionBehavior(SelectRows);
  setSelectionMode(ExtendedSelection);
  setEditTriggers(NoEditTriggers);
  setUniformRowHeights(true);
  setAlternatingRowColors(true);
  setAllColumnsShowFocus(true);
  setVerticalScrollMode(ScrollPerPixel);
  setHorizontalScrollMode(ScrollPerPixel);
  setHeader(new CellHeader(this));
  header()->setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
}

void TreeTable::setPlaceholderText(const QString& text) {
  m_placeholder = text;
  viewport()->update();
}

QString TreeTable::selectedText() const {
  if (!model()) return {};
  QStringList lines;
  // Rows that are folded away are not selected by anyone who sees this.
  for (QModelIndex index = model()->index(0, 0); index.isValid(); index = indexBelow(index)) {
    if (!selectionModel()->isSelected(index)) continue;
    QStringList cells;
    for (int visual = 0; visual < header()->count(); ++visual) {
      const int column = header()->logicalIndex(visual);
      if (!isColumnHidden(column)) cells.append(index.siblingAtColumn(column).data().toString().simplified());
    }
    QString blanks;
    for (QModelIndex above = index.parent(); above.isValid(); above = above.parent()) blanks += "  ";
    lines.append(blanks + cells.join(u'\t'));
  }
  return lines.join(u'\n');
}

void TreeTable::copy() {
  if (selectionModel() && selectionModel()->hasSelection()) QApplication::clipboard()->setText(selectedText());
}

void TreeTable::contextMenuEvent(QContextMenuEvent* event) {
  auto* const menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->addActions(actions());
  menu->addSeparator();
  QAction* const copy = menu->addAction(tr("Copy"), QKeySequence::Copy, this, &TreeTable::copy);
  copy->setEnabled(selectionModel() && selectionModel()->hasSelection());
  menu->addAction(tr("Unfold All"), this, &QTreeView::expandAll);
  menu->addAction(tr("Fold All"), this, &QTreeView::collapseAll);
  const bool isAtRow = event->reason() == QContextMenuEvent::Keyboard && currentIndex().isValid();
  menu->popup(isAtRow ? viewport()->mapToGlobal(visualRect(currentIndex()).center()) : event->globalPos());
}

void TreeTable::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Copy))
    copy();
  else
    QTreeView::keyPressEvent(event);
}

void TreeTable::paintEvent(QPaintEvent* event) {
  QTreeView::paintEvent(event);
  if (!model() || model()->rowCount() == 0) drawPlaceholder(*viewport(), m_placeholder);
}

}  // namespace corvane::inspector
