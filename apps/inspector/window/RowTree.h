#pragma once

#include <QAbstractItemModel>
#include <algorithm>
#include <map>
#include <type_traits>
#include <utility>
#include <vector>

#include "corvane/ui/RowModel.h"

namespace corvane::inspector {

/// A tree of rows that are given as a list: each one's `depth` says how far it lies below the row before it that is not
/// as deep. Rows are known by keys as in a RowModel, whose columns these are, too; nothing is sorted.
template <class Row, class KeyOf>
class RowTree : public QAbstractItemModel {
 public:
  using Key = std::decay_t<std::invoke_result_t<KeyOf, const Row&>>;

  explicit RowTree(std::vector<RowColumn<Row>> columns, QObject* parent = nullptr)
      : QAbstractItemModel(parent), m_columns(std::move(columns)) {}

  /// Replaces the rows. Selection and what is unfolded follow the keys.
  void setRows(std::vector<Row> rows) {
    Q_EMIT layoutAboutToBeChanged();
    const QModelIndexList kept = persistentIndexList();
    std::vector<Key> keys;
    for (const QModelIndex& index : kept) keys.push_back(KeyOf()(*at(index)));
    m_rows = std::move(rows);
    arrange();
    QModelIndexList now;
    for (qsizetype i = 0; i < kept.size(); ++i) now.append(find(keys[static_cast<std::size_t>(i)], kept[i].column()));
    changePersistentIndexList(kept, now);
    Q_EMIT layoutChanged();
  }

  const std::vector<Row>& rows() const { return m_rows; }

  const Row* at(const QModelIndex& index) const { return index.isValid() ? &m_rows[index.internalId()] : nullptr; }

  QModelIndex find(const Key& key, int column = 0) const {
    const auto found = m_places.find(key);
    return found == m_places.end() ? QModelIndex() : indexOf(found->second, column);
  }

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override {
    if (!hasIndex(row, column, parent)) return {};
    return createIndex(row, column, static_cast<quintptr>(below(parent)[static_cast<std::size_t>(row)]));
  }
  QModelIndex parent(const QModelIndex& index) const override {
    if (!index.isValid() || m_nodes[index.internalId()].isRoot) return {};
    return indexOf(m_nodes[index.internalId()].parent, 0);
  }
  int rowCount(const QModelIndex& parent = {}) const override {
    return parent.column() > 0 ? 0 : static_cast<int>(below(parent).size());
  }
  int columnCount(const QModelIndex& = {}) const override { return static_cast<int>(m_columns.size()); }

  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override {
    const Row* const row = at(index);
    if (!row) return {};
    const RowColumn<Row>& column = m_columns[static_cast<std::size_t>(index.column())];
    if (role == Qt::DisplayRole) return column.text(*row);
    if (role == Qt::TextAlignmentRole) return alignmentOf(column);
    return column.other ? column.other(*row, role) : QVariant();
  }
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override {
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount()) return {};
    const RowColumn<Row>& column = m_columns[static_cast<std::size_t>(section)];
    if (role == Qt::DisplayRole) return column.title;
    return role == Qt::TextAlignmentRole ? alignmentOf(column) : QVariant();
  }

 private:
  struct Node {
    bool isRoot = true;
    std::size_t parent = 0;
    int row = 0;  // among its parent's
    std::vector<std::size_t> children = {};
  };

  static QVariant alignmentOf(const RowColumn<Row>& column) {
    return QVariant::fromValue(Qt::Alignment(column.isNumber ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
  }

  QModelIndex indexOf(std::size_t place, int column) const {
    return createIndex(m_nodes[place].row, column, static_cast<quintptr>(place));
  }

  const std::vector<std::size_t>& below(const QModelIndex& parent) const {
    return parent.isValid() ? m_nodes[parent.internalId()].children : m_roots;
  }

  void arrange() {
    m_nodes.assign(m_rows.size(), {});
    m_roots.clear();
    m_places.clear();
    std::vector<std::size_t> above;  // the rows that the next one may lie below
    for (std::size_t place = 0; place < m_rows.size(); ++place) {
      while (!above.empty() && m_rows[above.back()].depth >= m_rows[place].depth) above.pop_back();
      Node& node = m_nodes[place];
      node.isRoot = above.empty();
      if (!node.isRoot) node.parent = above.back();
      auto& siblings = node.isRoot ? m_roots : m_nodes[node.parent].children;
      node.row = static_cast<int>(siblings.size());
      siblings.push_back(place);
      above.push_back(place);
      m_places.emplace(KeyOf()(m_rows[place]), place);
    }
  }

  const std::vector<RowColumn<Row>> m_columns;
  std::vector<Row> m_rows;
  std::vector<Node> m_nodes;
  std::vector<std::size_t> m_roots;
  std::map<Key, std::size_t> m_places;
};

}  // namespace corvane::inspector
