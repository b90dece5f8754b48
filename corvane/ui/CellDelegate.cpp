#include "corvane/ui/CellDelegate.h"

#include <QGuiApplication>
#include <QPainter>
#include <QStyle>
#include <algorithm>

namespace corvane {

namespace {

constexpr int SPACE = 6;                // points of a row above and below its text or icon, together
constexpr int MARGIN = 12;              // points around the text of a view without rows
constexpr QChar LEFT_TO_RIGHT(0x200E);  // a mark without a width
constexpr QChar GAP(0x2004);            // beside a text: a blank, a third as wide as the font is high

QString spaced(const QString& text) {
  return text.isEmpty() ? text : GAP + text + GAP;
}

}  // namespace

QString CellDelegate::displayText(const QVariant& value, const QLocale& locale) const {
  const QString text = QStyledItemDelegate::displayText(value, locale);
  if (text.isEmpty() || !QGuiApplication::isRightToLeft() || text.isRightToLeft()) return spaced(text);
  return spaced(LEFT_TO_RIGHT + text + LEFT_TO_RIGHT);
}

int CellDelegate::rowHeight(const QWidget& view) {
  const int icon = view.style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, &view);
  return std::max(view.fontMetrics().height(), icon) + SPACE;
}

QSize CellDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const QSize hint = QStyledItemDelegate::sizeHint(option, index);
  return option.widget ? hint.expandedTo({0, rowHeight(*option.widget)}) : hint;
}

void CellDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
  QStyledItemDelegate::initStyleOption(option, index);
  if (option->state & QStyle::State_Selected) option->state &= ~QStyle::State_HasFocus;
}

CellHeader::CellHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
  setSectionsMovable(true);
  setStretchLastSection(true);
}

void CellHeader::initStyleOptionForIndex(QStyleOptionHeader* option, int column) const {
  QHeaderView::initStyleOptionForIndex(option, column);
  option->text = spaced(option->text);
}

QSize CellHeader::sectionSizeFromContents(int column) const {
  return QHeaderView::sectionSizeFromContents(column) + QSize(2 * fontMetrics().horizontalAdvance(GAP), 0);
}

void drawPlaceholder(QWidget& viewport, const QString& text) {
  QPainter painter(&viewport);
  painter.setPen(viewport.palette().color(QPalette::PlaceholderText));
  painter.drawText(viewport.rect().marginsRemoved({MARGIN, MARGIN, MARGIN, MARGIN}), Qt::AlignCenter | Qt::TextWordWrap,
                   text);
}

}  // namespace corvane
