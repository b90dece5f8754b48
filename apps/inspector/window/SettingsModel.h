#pragma once

#include <QAbstractItemModel>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "corvane/infra/settings/UserDefaults.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Value.h"

namespace corvane::inspector {

/// The settings of a domain as a tree: keys, and what arrays and dictionaries contain. What changes in the domain is
/// put in its place, so that selection, folding and a cell that is being edited stay. Every change goes to the domain
/// first and is shown when it is there: a failure leaves everything as it is.
class SettingsModel : public QAbstractItemModel {
  Q_OBJECT

 public:
  enum Column { KEY, KIND, VALUE, COLUMNS };

  using QAbstractItemModel::QAbstractItemModel;

  /// Shows another domain; none if it is empty.
  Result<void> setDomain(const std::string& name);
  const std::shared_ptr<UserDefaults>& defaults() const { return m_defaults; }

  /// Takes over what has changed in the domain. On failure what was known stays.
  Result<void> read();

  /// The value of a row; null for an invalid index.
  const Value* valueAt(const QModelIndex& index) const;
  std::string keyAt(const QModelIndex& index) const { return nodeAt(index).key; }

  /// Stores another value in a row.
  Result<void> set(const QModelIndex& index, Value value);
  /// Adds an entry to a dictionary, or to the domain if the index is invalid; fails if there is one with this key. To
  /// an array, adds an element at its end, whatever the key.
  Result<void> add(const QModelIndex& container, const std::string& key, Value value);
  /// Removes keys, entries and elements, all or none.
  Result<void> remove(const QModelIndexList& indexes);

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& index) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  bool hasChildren(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

 private:
  struct Node {
    Node* above = nullptr;
    int row = 0;      // among those of the node above
    std::string key;  // of an entry; empty for elements of arrays
    Value value;
    bool isUnfolded = false;  // whether `below` was filled
    std::vector<std::unique_ptr<Node>> below = {};
  };
  using Step = std::variant<std::string, std::size_t>;  // a key, or a place in an array
  using Path = std::vector<Step>;

  Node& nodeAt(const QModelIndex& index) const;
  QModelIndex indexOf(const Node& node, int column = 0) const;
  static std::vector<std::unique_ptr<Node>> nodesFor(Node& above);
  void unfold(Node& node) const;
  static Path pathTo(const Node& node);
  Result<UserDefaults::Change> changed(const Value::Dictionary& domain, const Path& path,
                                       const std::optional<Value>& value) const;
  Result<void> apply(const std::vector<UserDefaults::Change>& changes);
  void update(Node& node, const Value& value);
  void updateEntries(Node& node, const Value::Dictionary& entries);
  void updateElements(Node& node, const Value::Array& elements);
  void insertNode(Node& above, std::size_t row, std::string key, const Value& value);
  void removeNode(Node& above, std::size_t row);
  static void renumber(Node& above, std::size_t from);

  std::shared_ptr<UserDefaults> m_defaults;
  const std::unique_ptr<Node> m_root = std::make_unique<Node>();
};

}  // namespace corvane::inspector
