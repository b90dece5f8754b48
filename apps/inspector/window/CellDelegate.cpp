#include "apps/inspector/window/CellDelegate.h"

#include <QGuiApplication>
#include <algorithm>

namespace corvane::inspector {

namespace {

constexpr int SPACE = 8;                // points of a row that its text does not take
constexpr QChar LEFT_TO_RIGHT(0x200E);  // a mark without a width
constexpr QChar GAP(0x2004);            // a third of the font's size

}  // namespace

QString CellDelegate::displayText(const QVariant& value, const QLocale& locale) const {
  const QString text = QStyledItemDelegate::displayText(value, locale);
  if (text.isEmpty()) return text;
  if (!QGuiApplication::isRightToLeft() || text.isRightToLeft()) return GAP + text + GAP;
  return GAP + (LEFT_TO_RIGHT + text + LEFT_TO_RIGHT) + GAP;
}

QSize CellDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const QSize hint = QStyledItemDelegate::sizeHint(option, index);
  return {hint.width(), std::max(hint.height(), option.fontMetrics.height() + SPACE)};
}

// Whole rows are selected, so a selected cell does not stand out as the one that has the focus.
void CellDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
  QStyledItemDelegate::initStyleOption(option, index);
  if (option->state & QStyle::State_Selected) option->state &= ~QStyle::State_HasFocus;
}

CellHeader::CellHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
  setSectionsMovable(true);
  setStretchLastSection(true);
  setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
}

void CellHeader::initStyleOptionForIndex(QStyleOptionHeader* option, int column) const {
  QHeaderView::initStyleOptionForIndex(option, column);
  if (!option->text.isEmpty()) option->text = GAP + option->text + GAP;
}

}  // namespace corvane::inspector
