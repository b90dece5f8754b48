#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <QVariant>
#include <algorithm>
#include <concepts>
#include <cstddef>
#include <functional>
#include <map>
#include <numeric>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace corvane {

/// Under this role headerData() tells the id of a column, RowColumn::id.
inline constexpr int COLUMN_ID_ROLE = Qt::UserRole;

/// A column of a RowModel.
template <class Row>
struct RowColumn {
  QString id;     ///< for settings and tests: "count"; neither blanks nor colons, never translated
  QString title;  ///< for people
  std::function<QString(const Row&)> text;  ///< what is shown and copied
  /// The order of the rows; without it users cannot sort by this column.
  std::function<bool(const Row&, const Row&)> isLess{};  // not "= {}", which g++ 12 cannot compile
  /// Numbers stand at the trailing edge, and the first click on their header puts the largest first.
  bool isNumber = false;
  /// Icons, tooltips, fonts and so on, by Qt::ItemDataRole; an invalid value where there is none.
  std::function<QVariant(const Row&, int role)> other{};
};

/// A table's rows, held by value and replaced all at once, for lists that are taken anew now and then: tens of
/// thousands of rows every second are fine. Show it in a TableView.
///
///     struct NameOf { const std::string& operator()(const Task& task) const { return task.name; } };
///     RowModel<Task, NameOf> model({{"name", tr("Name"), [](const Task& task) { return toText(task.name); },
///                                    [](const Task& a, const Task& b) { return a.name < b.name; }}, …});
///     view.setModel(&model);
///     model.setRows(tasks());
///
/// `KeyOf` is a function object from a row to what it is known by: a value, or a reference into the row, with == and <.
/// Selection and current row follow their rows by it. Rows with equal keys are told apart by their order only.
///
/// The rows are in the order of the column that the view sorts by, those that are equal there by their keys, and then
/// as they were given. Without such a column they stay as they were given.
///
/// Main thread. Unlike other models this one tells views of new rows as a change of layout, also if their number
/// changes.
template <class Row, class KeyOf>
class RowModel : public QAbstractTableModel {
 public:
  using Key = std::decay_t<std::invoke_result_t<KeyOf, const Row&>>;  ///< what tells rows apart
  static_assert(std::totally_ordered<Key>);

  /// A model without rows.
  explicit RowModel(std::vector<RowColumn<Row>> columns, QObject* parent = nullptr)
      : QAbstractTableModel(parent), m_columns(std::move(columns)) {}

  /// Replaces the rows, and puts them into the present order.
  void setRows(std::vector<Row> rows) { arrange(std::move(rows)); }

  /// The rows as they are shown.
  const std::vector<Row>& rows() const { return m_rows; }

  /// The row of an index; null beyond the end.
  const Row* at(const QModelIndex& index) const {
    return index.isValid() && index.row() < rowCount() ? &m_rows[static_cast<std::size_t>(index.row())] : nullptr;
  }

  /// Where the first row with this key is shown.
  std::optional<int> find(const Key& key) const {
    const auto found = std::find_if(m_rows.begin(), m_rows.end(), [&](const Row& row) { return KeyOf()(row) == key; });
    return found == m_rows.end() ? std::nullopt : std::optional(static_cast<int>(found - m_rows.begin()));
  }

  /// The column with this id; -1 if there is none.
  int columnOf(const QString& id) const {
    const auto found =
        std::find_if(m_columns.begin(), m_columns.end(), [&](const RowColumn<Row>& column) { return column.id == id; });
    return found == m_columns.end() ? -1 : static_cast<int>(found - m_columns.begin());
  }

  /// Puts the rows into the order of a column. One that cannot be sorted by changes nothing; -1 stands for the order in
  /// which rows are given from now on.
  void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override {
    if (column >= 0 && !canSortBy(column)) return;
    m_sortColumn = column;
    m_order = order;
    if (column >= 0) arrange(std::nullopt);
  }

  /// As views ask for them.
  int rowCount(const QModelIndex& parent = {}) const override {
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
  }
  int columnCount(const QModelIndex& parent = {}) const override {
    return parent.isValid() ? 0 : static_cast<int>(m_columns.size());
  }

  /// What a cell shows, and what a column is called.
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override {
    const Row* const row = at(index);
    const RowColumn<Row>* const column = columnAt(index.column());
    if (!row || !column) return {};
    if (role == Qt::DisplayRole) return column->text(*row);
    const QVariant other = column->other ? column->other(*row, role) : QVariant();
    return other.isValid() || role != Qt::TextAlignmentRole ? other : alignmentOf(*column);
  }

  /// What a column is called.
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override {
    const RowColumn<Row>* const column = orientation == Qt::Horizontal ? columnAt(section) : nullptr;
    if (!column) return {};
    switch (role) {
      case Qt::DisplayRole:
        return column->title;
      case Qt::TextAlignmentRole:
        return alignmentOf(*column);
      case Qt::InitialSortOrderRole:
        if (!column->isLess) return {};
        return static_cast<int>(column->isNumber ? Qt::DescendingOrder : Qt::AscendingOrder);
      case COLUMN_ID_ROLE:
        return column->id;
      default:
        return {};
    }
  }

 private:
  // Where rows with one key were, and how many of them have been found again.
  struct Places {
    std::vector<int> rows;
    std::size_t next = 0;
  };

  static QVariant alignmentOf(const RowColumn<Row>& column) {
    return (Qt::AlignVCenter | (column.isNumber ? Qt::AlignRight : Qt::AlignLeft)).toInt();  // mirrored right-to-left
  }

  const RowColumn<Row>* columnAt(int column) const {
    return column >= 0 && column < columnCount() ? &m_columns[static_cast<std::size_t>(column)] : nullptr;
  }

  bool canSortBy(int column) const {
    const RowColumn<Row>* const found = columnAt(column);
    return found && found->isLess;
  }

  // Shows the given rows, or the present ones, in the present order.
  void arrange(std::optional<std::vector<Row>> given) {
    Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList kept = persistentIndexList();
    std::map<Key, Places> places = placesOf(kept);
    std::vector<int> moved(m_rows.size(), -1);
    m_rows = sorted(given ? std::move(*given) : std::move(m_rows));
    for (std::size_t row = 0; row < m_rows.size() && !places.empty(); ++row) {
      const auto found = places.find(KeyOf()(m_rows[row]));
      if (found == places.end() || found->second.next == found->second.rows.size()) continue;
      moved[static_cast<std::size_t>(found->second.rows[found->second.next++])] = static_cast<int>(row);
    }
    QModelIndexList now;
    now.reserve(kept.size());
    for (const QModelIndex& index : kept)
      now.append(this->index(moved[static_cast<std::size_t>(index.row())], index.column()));
    changePersistentIndexList(kept, now);
    Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
  }

  std::map<Key, Places> placesOf(const QModelIndexList& indexes) const {
    std::vector<bool> isKept(m_rows.size());
    for (const QModelIndex& index : indexes) isKept[static_cast<std::size_t>(index.row())] = true;
    std::map<Key, Places> places;
    for (std::size_t row = 0; row < m_rows.size(); ++row)
      if (isKept[row]) places[KeyOf()(m_rows[row])].rows.push_back(static_cast<int>(row));
    return places;
  }

  bool comesBefore(const Row& a, const Row& b) const {
    const auto& isLess = m_columns[static_cast<std::size_t>(m_sortColumn)].isLess;
    const bool isAscending = m_order == Qt::AscendingOrder;
    const Row& first = isAscending ? a : b;
    const Row& second = isAscending ? b : a;
    return isLess(first, second) || (!isLess(second, first) && KeyOf()(a) < KeyOf()(b));
  }

  // Rows may be large, so numbers are sorted. A stable sort bears an isLess that is no order, as < is not with NaN.
  std::vector<Row> sorted(std::vector<Row> rows) const {
    if (m_sortColumn < 0) return rows;
    std::vector<std::size_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return comesBefore(rows[a], rows[b]); });
    std::vector<Row> result;
    result.reserve(rows.size());
    for (const std::size_t row : order) result.push_back(std::move(rows[row]));
    return result;
  }

  const std::vector<RowColumn<Row>> m_columns;
  std::vector<Row> m_rows;
  int m_sortColumn = -1;
  Qt::SortOrder m_order = Qt::AscendingOrder;
};

}  // namespace corvane
