#include "corvane/ui/TableView.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QScrollBar>
#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "corvane/ui/CellDelegate.h"
#include "corvane/ui/RowModel.h"

namespace corvane {

namespace {

constexpr int MAX_WIDTH = 10'000;  // points, of a restored column

QVariant headerOf(const QAbstractItemModel& model, int column, int role) {
  return model.headerData(column, Qt::Horizontal, role);
}

QString inOneCell(QString text) {
  for (QChar& character : text)
    if (character == u'\t' || character == u'\n' || character == u'\r' || character == QChar::LineSeparator)
      character = u' ';
  return text;
}

}  // namespace

// A column in a state: "count:90", "count:90:d" if the rows are sorted by it, descending, "count:90:h" if it is hidden.
struct TableView::Column {
  QString id;
  int width = 0;
  bool isHidden = false;
  std::optional<Qt::SortOrder> order = {};

  QString text() const {
    QString flags = isHidden ? "h" : "";
    if (order) flags += *order == Qt::AscendingOrder ? u'a' : u'd';
    return id + ':' + QString::number(width) + (flags.isEmpty() ? "" : ':' + flags);
  }

  static std::optional<Column> parse(const QString& text) {
    const QStringList parts = text.split(':');
    if (parts.size() < 2 || parts.size() > 3 || parts[0].isEmpty()) return std::nullopt;
    bool isNumber = false;
    Column column{parts[0], parts[1].toInt(&isNumber)};
    if (!isNumber || column.width < 0) return std::nullopt;
    for (const QChar flag : parts.value(2)) {
      if (flag == u'h')
        column.isHidden = true;
      else if (flag == u'a' || flag == u'd')
        column.order = flag == u'a' ? Qt::AscendingOrder : Qt::DescendingOrder;
      else
        return std::nullopt;
    }
    return column;
  }
};

TableView::TableView(QWidget* parent) : QTableView(parent) {
  setSelectionBehavior(SelectRows);
  setSelectionMode(ExtendedSelection);
  setEditTriggers(NoEditTriggers);
  setItemDelegate(new CellDelegate(this));
  setShowGrid(false);
  setAlternatingRowColors(true);
  setWordWrap(false);
  setTabKeyNavigation(false);
  setCornerButtonEnabled(false);
  setVerticalScrollMode(ScrollPerPixel);
  setHorizontalScrollMode(ScrollPerPixel);
  verticalHeader()->hide();
  verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  auto* const header = new CellHeader(this);
  header->setSectionsClickable(true);
  header->setSortIndicator(-1, Qt::AscendingOrder);
  header->setContextMenuPolicy(Qt::CustomContextMenu);
  setHorizontalHeader(header);  // which is not sorted by yet: enabling sorting sorts
  setSortingEnabled(true);
  connect(header, &QHeaderView::sortIndicatorChanged, this, &TableView::sortIndicatorMoved);
  connect(header, &QWidget::customContextMenuRequested, this, &TableView::showHeaderMenu);
  updateRowHeight();
}

void TableView::setModel(QAbstractItemModel* model) {
  if (const QAbstractItemModel* const previous = this->model()) {
    disconnect(previous, &QAbstractItemModel::layoutAboutToBeChanged, this, &TableView::rememberView);
    disconnect(previous, &QAbstractItemModel::layoutChanged, this, &TableView::followView);
  }
  QTableView::setModel(model);
  if (!model) return;
  // After those of the base class, so that this has its new rows when it scrolls.
  connect(model, &QAbstractItemModel::layoutAboutToBeChanged, this, &TableView::rememberView);
  connect(model, &QAbstractItemModel::layoutChanged, this, &TableView::followView);
  const int digit = fontMetrics().horizontalAdvance(u'0');
  for (int column = 0; column < model->columnCount(); ++column) {
    const bool isLast = column + 1 == model->columnCount();  // grows by itself
    const int digits = isLast ? 0 : isNumber(column) ? 12 : 24;
    setColumnWidth(column, std::max(horizontalHeader()->sectionSizeHint(column), digit * digits));
  }
}

void TableView::setPlaceholderText(const QString& text) {
  m_placeholder = text;
  viewport()->update();
}

QString TableView::titleOf(int column) const {
  return headerOf(*model(), column, Qt::DisplayRole).toString();
}

QString TableView::idOf(int column) const {
  return headerOf(*model(), column, COLUMN_ID_ROLE).toString();
}

int TableView::columnOf(const QString& id) const {
  for (int column = 0; column < horizontalHeader()->count(); ++column)
    if (idOf(column) == id) return column;
  return -1;
}

bool TableView::canSortBy(int column) const {
  return headerOf(*model(), column, Qt::InitialSortOrderRole).isValid();
}

bool TableView::isNumber(int column) const {
  return headerOf(*model(), column, Qt::InitialSortOrderRole) == QVariant(int{Qt::DescendingOrder});
}

// In the order that the user sees.
std::vector<int> TableView::shownColumns() const {
  std::vector<int> columns;
  for (int visual = 0; visual < horizontalHeader()->count(); ++visual) {
    const int column = horizontalHeader()->logicalIndex(visual);
    if (!isColumnHidden(column)) columns.push_back(column);
  }
  return columns;
}

QString TableView::selectedText() const {
  if (!selectionModel()) return {};
  std::set<int> rows;
  for (const QItemSelectionRange& range : selectionModel()->selection())
    for (int row = range.top(); row <= range.bottom(); ++row) rows.insert(row);
  const std::vector<int> columns = shownColumns();
  QStringList lines;
  const auto append = [&](const auto& textOf) {
    QStringList cells;
    for (const int column : columns) cells.append(inOneCell(textOf(column)));
    lines.append(cells.join('\t'));
  };
  if (rows.size() > 1) append([&](int column) { return titleOf(column); });
  for (const int row : rows) append([&](int column) { return model()->index(row, column).data().toString(); });
  return lines.join('\n');
}

void TableView::copy() {
  if (selectionModel() && selectionModel()->hasSelection()) QApplication::clipboard()->setText(selectedText());
}

QString TableView::state() const {
  QStringList columns;
  for (int visual = 0; visual < horizontalHeader()->count(); ++visual) {
    const int column = horizontalHeader()->logicalIndex(visual);
    const auto order = column == m_sortColumn ? std::optional(m_order) : std::nullopt;
    columns.append(Column{idOf(column), columnWidth(column), isColumnHidden(column), order}.text());
  }
  return columns.join(' ');
}

bool TableView::restoreState(const QString& state) {
  std::vector<std::pair<int, Column>> columns;
  std::set<int> known;
  bool isAnyLeft = false;
  bool isSorted = false;
  for (const QString& text : state.split(' ')) {
    const std::optional<Column> column = Column::parse(text);
    if (!column || (isSorted && column->order)) return false;
    isSorted |= column->order.has_value();
    const int at = columnOf(column->id);
    if (at < 0) continue;
    if (!known.insert(at).second) return false;
    isAnyLeft |= !column->isHidden;
    columns.emplace_back(at, *column);
  }
  for (int column = 0; column < horizontalHeader()->count(); ++column)
    isAnyLeft |= !known.contains(column) && !isColumnHidden(column);
  if (!isAnyLeft) return false;

  QHeaderView& header = *horizontalHeader();
  header.setStretchLastSection(false);
  int visual = 0;
  for (const auto& [at, column] : columns) {
    header.moveSection(header.visualIndex(at), visual++);
    setColumnHidden(at, column.isHidden);
    if (column.width > 0) setColumnWidth(at, std::clamp(column.width, header.minimumSectionSize(), MAX_WIDTH));
    if (column.order && canSortBy(at)) sortByColumn(at, *column.order);
  }
  if (!isSorted) sortByColumn(-1, Qt::AscendingOrder);
  header.setStretchLastSection(true);
  return true;
}

void TableView::changeEvent(QEvent* event) {
  QTableView::changeEvent(event);
  if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) updateRowHeight();
}

void TableView::updateRowHeight() {
  const int height = CellDelegate::rowHeight(*this);
  verticalHeader()->setMinimumSectionSize(height);
  verticalHeader()->setDefaultSectionSize(height);
}

// A column that cannot be sorted by does not keep the indicator that a click gave it.
void TableView::sortIndicatorMoved(int column, Qt::SortOrder order) {
  if (column >= 0 && !canSortBy(column)) {
    horizontalHeader()->setSortIndicator(m_sortColumn, m_order);
    return;
  }
  m_sortColumn = column;
  m_order = order;
}

void TableView::contextMenuEvent(QContextMenuEvent* event) {
  auto* const menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->addActions(actions());
  menu->addSeparator();
  QAction* const copy = menu->addAction(tr("Copy"), QKeySequence::Copy, this, &TableView::copy);
  copy->setEnabled(selectionModel() && selectionModel()->hasSelection());
  QAction* const all = menu->addAction(tr("Select All"), QKeySequence::SelectAll, this, &QTableView::selectAll);
  all->setEnabled(model() && model()->rowCount() > 0);
  const bool isAtRow = event->reason() == QContextMenuEvent::Keyboard && currentIndex().isValid();
  menu->popup(isAtRow ? viewport()->mapToGlobal(visualRect(currentIndex()).center()) : event->globalPos());
}

void TableView::showHeaderMenu(const QPoint& at) {
  auto* const menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  const std::vector<int> shown = shownColumns();
  for (int column = 0; column < horizontalHeader()->count(); ++column) {
    QAction* const action = menu->addAction(titleOf(column));
    action->setCheckable(true);
    action->setChecked(!isColumnHidden(column));
    action->setEnabled(shown != std::vector{column});  // one stays
    connect(action, &QAction::toggled, this, [this, column](bool isShown) { setColumnHidden(column, !isShown); });
  }
  menu->popup(horizontalHeader()->mapToGlobal(at));
}

void TableView::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Copy))
    copy();
  else
    QTableView::keyPressEvent(event);
}

QModelIndex TableView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) {
  if (!model() || model()->rowCount() == 0 || (action != MoveHome && action != MoveEnd))
    return QTableView::moveCursor(action, modifiers);
  return model()->index(action == MoveHome ? 0 : model()->rowCount() - 1, std::max(currentIndex().column(), 0));
}

void TableView::keyboardSearch(const QString& search) {
  const std::vector<int> columns = shownColumns();
  const auto text = std::ranges::find_if(columns, [this](int column) { return !isNumber(column); });
  if (currentIndex().isValid() && text != columns.end())
    selectionModel()->setCurrentIndex(currentIndex().siblingAtColumn(*text), QItemSelectionModel::NoUpdate);
  QTableView::keyboardSearch(search);
}

void TableView::paintEvent(QPaintEvent* event) {
  QTableView::paintEvent(event);
  if (model() && model()->rowCount() == 0) drawPlaceholder(*viewport(), m_placeholder);
}

void TableView::rememberView() {
  m_inView.clear();
  if (verticalScrollBar()->value() == 0 || verticalScrollBar()->isSliderDown()) return;
  const int first = rowAt(0);
  const int last = rowAt(viewport()->height() - 1);
  for (int row = first; row >= 0 && row <= (last < 0 ? model()->rowCount() - 1 : last); ++row)
    m_inView.emplace_back(row, model()->index(row, 0));
}

void TableView::followView() {
  std::map<int, std::size_t> moves;
  for (const auto& [row, index] : m_inView)
    if (index.isValid()) ++moves[index.row() - row];
  const std::size_t count = std::exchange(m_inView, {}).size();
  for (const auto& [by, rows] : moves) {
    if (by == 0 || 2 * rows <= count) continue;
    executeDelayedItemsLayout();  // gives the scroll bar its new range
    verticalScrollBar()->setValue(verticalScrollBar()->value() + by * verticalHeader()->defaultSectionSize());
  }
}

}  // namespace corvane
