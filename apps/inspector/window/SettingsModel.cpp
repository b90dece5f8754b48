#include "apps/inspector/window/SettingsModel.h"

#include <algorithm>
#include <functional>
#include <map>
#include <span>
#include <utility>

#include "apps/inspector/window/Shown.h"
#include "apps/inspector/window/ValueText.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t MANY = 1000;  // rows that come or go at once: then everything is laid out anew

Result<void> vanished() {
  return failure("inspector", 0, SettingsModel::tr("It has been changed meanwhile").toStdString());
}

}  // namespace

Result<void> SettingsModel::setDomain(const std::string& name) {
  beginResetModel();
  m_defaults = name.empty() ? nullptr : std::make_shared<UserDefaults>(name);
  m_root->value = Value();
  m_root->below.clear();
  m_root->isUnfolded = true;
  endResetModel();
  return read();
}

Result<void> SettingsModel::read() {
  if (!m_defaults) return {};
  auto domain = m_defaults->domainDictionary();
  if (!domain) return tl::unexpected(domain.error());
  update(*m_root, Value(std::move(*domain)));
  return {};
}

SettingsModel::Node& SettingsModel::nodeAt(const QModelIndex& index) const {
  return index.isValid() ? *static_cast<Node*>(index.internalPointer()) : *m_root;
}

QModelIndex SettingsModel::indexOf(const Node& node, int column) const {
  return node.above ? createIndex(node.row, column, &node) : QModelIndex();
}

const Value* SettingsModel::valueAt(const QModelIndex& index) const {
  return index.isValid() ? &nodeAt(index).value : nullptr;
}

std::vector<std::unique_ptr<SettingsModel::Node>> SettingsModel::nodesFor(Node& above) {
  std::vector<std::unique_ptr<Node>> nodes;
  const auto add = [&](std::string key, const Value& value) {
    nodes.push_back(std::make_unique<Node>(Node{&above, static_cast<int>(nodes.size()), std::move(key), value}));
  };
  if (const auto* const entries = above.value.asDictionary())
    for (const auto& [key, value] : *entries) add(key, value);
  if (const auto* const elements = above.value.asArray())
    for (const Value& value : *elements) add({}, value);
  return nodes;
}

// Only what somebody looks into takes memory.
void SettingsModel::unfold(Node& node) const {
  if (std::exchange(node.isUnfolded, true)) return;
  node.below = nodesFor(node);
}

SettingsModel::Path SettingsModel::pathTo(const Node& node) {
  Path path;
  for (const Node* at = &node; at->above; at = at->above)
    path.insert(path.begin(), at->above->value.isArray() ? Step(static_cast<std::size_t>(at->row)) : Step(at->key));
  return path;
}

namespace {

using Step = std::variant<std::string, std::size_t>;

// The value with another one at the end of the path, or without what is there; std::nullopt if it does not lead there.
std::optional<Value> replaced(const Value& value, std::span<const Step> path, const std::optional<Value>& leaf) {
  const bool isLast = path.size() == 1;
  if (const auto* const key = std::get_if<std::string>(&path.front())) {
    if (!value.isDictionary()) return std::nullopt;
    Value::Dictionary entries = *value.asDictionary();
    const auto found = entries.find(*key);
    if (isLast) {
      if (leaf)
        entries.insert_or_assign(*key, *leaf);
      else
        entries.erase(*key);
      return Value(std::move(entries));
    }
    if (found == entries.end()) return std::nullopt;
    auto inner = replaced(found->second, path.subspan(1), leaf);
    if (!inner) return std::nullopt;
    found->second = std::move(*inner);
    return Value(std::move(entries));
  }
  if (!value.isArray()) return std::nullopt;
  Value::Array elements = *value.asArray();
  const std::size_t place = std::get<std::size_t>(path.front());
  if (place > elements.size() || (place == elements.size() && (!isLast || !leaf))) return std::nullopt;
  const auto at = elements.begin() + static_cast<std::ptrdiff_t>(place);
  if (isLast && place == elements.size()) {
    elements.push_back(*leaf);
  } else if (isLast && !leaf) {
    elements.erase(at);
  } else {
    auto inner = isLast ? leaf : replaced(*at, path.subspan(1), leaf);
    if (!inner) return std::nullopt;
    *at = std::move(*inner);
  }
  return Value(std::move(elements));
}

}  // namespace

// What has to be stored for a change of what the path leads to, based on what the domain holds now.
Result<UserDefaults::Change> SettingsModel::changed(const Value::Dictionary& domain, const Path& path,
                                                    const std::optional<Value>& value) const {
  const std::string& key = std::get<std::string>(path.front());
  if (path.size() == 1) return UserDefaults::Change{key, value};
  const auto found = domain.find(key);
  auto whole = found == domain.end() ? std::nullopt : replaced(found->second, std::span(path).subspan(1), value);
  if (!whole) return tl::unexpected(vanished().error());
  return UserDefaults::Change{key, std::move(whole)};
}

Result<void> SettingsModel::apply(const std::vector<UserDefaults::Change>& changes) {
  const auto stored = m_defaults->apply(changes);
  return stored ? read() : stored;
}

Result<void> SettingsModel::set(const QModelIndex& index, Value value) {
  const auto domain = m_defaults->domainDictionary();
  if (!domain) return tl::unexpected(domain.error());
  const auto change = changed(*domain, pathTo(nodeAt(index)), std::move(value));
  return change ? apply({*change}) : Result<void>(tl::unexpected(change.error()));
}

Result<void> SettingsModel::add(const QModelIndex& container, const std::string& key, Value value) {
  const auto fresh = read();
  if (!fresh) return fresh;
  const Node& node = nodeAt(container);
  Path path = pathTo(node);
  if (const auto* const elements = node.value.asArray()) {
    path.emplace_back(elements->size());
  } else {
    if (node.value.find(key))
      return failure("inspector", 0, tr("There is an entry “%1” already").arg(shown(key)).toStdString());
    path.emplace_back(key);
  }
  const auto change = changed(*m_root->value.asDictionary(), path, std::move(value));
  return change ? apply({*change}) : Result<void>(tl::unexpected(change.error()));
}

Result<void> SettingsModel::remove(const QModelIndexList& indexes) {
  const auto domain = m_defaults->domainDictionary();
  if (!domain) return tl::unexpected(domain.error());
  std::vector<Path> paths;
  for (const QModelIndex& index : indexes) paths.push_back(pathTo(nodeAt(index)));
  // The last ones first, so that places in arrays stay right.
  std::ranges::sort(paths, std::greater());
  Value::Dictionary rest = *domain;
  std::map<std::string, std::optional<Value>> changes;
  for (const Path& path : paths) {
    auto change = changed(rest, path, std::nullopt);
    if (!change) return tl::unexpected(change.error());
    if (change->value)
      rest.insert_or_assign(change->key, *change->value);
    else
      rest.erase(change->key);
    changes.insert_or_assign(change->key, std::move(change->value));
  }
  std::vector<UserDefaults::Change> all;
  for (auto& [key, value] : changes) all.push_back({key, std::move(value)});
  return apply(all);
}

// Brings a node up to date with as few changes as possible.
void SettingsModel::update(Node& node, const Value& value) {
  if (node.value == value) return;
  const bool staysContainer = kindOf(node.value) == kindOf(value) && isContainer(kindOf(value));
  if (node.isUnfolded && !staysContainer && !node.below.empty()) {
    beginRemoveRows(indexOf(node), 0, static_cast<int>(node.below.size()) - 1);
    node.below.clear();
    endRemoveRows();
  }
  if (!staysContainer) node.isUnfolded = false;
  if (node.isUnfolded && value.isDictionary()) updateEntries(node, *value.asDictionary());
  if (node.isUnfolded && value.isArray()) updateElements(node, *value.asArray());
  node.value = value;
  if (node.above) Q_EMIT dataChanged(indexOf(node), indexOf(node, COLUMNS - 1));
}

void SettingsModel::updateEntries(Node& node, const Value::Dictionary& entries) {
  std::size_t common = 0;
  for (const auto& one : node.below) common += entries.count(one->key);
  if (node.below.size() + entries.size() - 2 * common > MANY) {
    beginResetModel();
    node.value = Value(entries);
    node.below = nodesFor(node);
    return endResetModel();
  }
  std::size_t row = 0;
  for (const auto& [key, value] : entries) {
    while (row < node.below.size() && node.below[row]->key < key) removeNode(node, row);
    if (row < node.below.size() && node.below[row]->key == key)
      update(*node.below[row], value);
    else
      insertNode(node, row, key, value);
    ++row;
  }
  while (row < node.below.size()) removeNode(node, node.below.size() - 1);
}

void SettingsModel::updateElements(Node& node, const Value::Array& elements) {
  if (elements.size() > node.below.size() + MANY || node.below.size() > elements.size() + MANY) {
    beginResetModel();
    node.value = Value(elements);
    node.below = nodesFor(node);
    return endResetModel();
  }
  while (node.below.size() > elements.size()) removeNode(node, node.below.size() - 1);
  for (std::size_t row = 0; row < elements.size(); ++row)
    if (row < node.below.size())
      update(*node.below[row], elements[row]);
    else
      insertNode(node, row, {}, elements[row]);
}

void SettingsModel::insertNode(Node& above, std::size_t row, std::string key, const Value& value) {
  const int place = static_cast<int>(row);
  beginInsertRows(indexOf(above), place, place);
  above.below.insert(above.below.begin() + place, std::make_unique<Node>(Node{&above, place, std::move(key), value}));
  renumber(above, row + 1);
  endInsertRows();
}

void SettingsModel::removeNode(Node& above, std::size_t row) {
  const int place = static_cast<int>(row);
  beginRemoveRows(indexOf(above), place, place);
  above.below.erase(above.below.begin() + place);
  renumber(above, row);
  endRemoveRows();
}

void SettingsModel::renumber(Node& above, std::size_t from) {
  for (std::size_t row = from; row < above.below.size(); ++row) above.below[row]->row = static_cast<int>(row);
}

QModelIndex SettingsModel::index(int row, int column, const QModelIndex& parent) const {
  if (!hasIndex(row, column, parent)) return {};
  return createIndex(row, column, nodeAt(parent).below[static_cast<std::size_t>(row)].get());
}

QModelIndex SettingsModel::parent(const QModelIndex& index) const {
  return index.isValid() ? indexOf(*nodeAt(index).above) : QModelIndex();
}

int SettingsModel::rowCount(const QModelIndex& parent) const {
  if (parent.column() > 0) return 0;
  Node& node = nodeAt(parent);
  unfold(node);
  return static_cast<int>(node.below.size());
}

int SettingsModel::columnCount(const QModelIndex&) const {
  return COLUMNS;
}

bool SettingsModel::hasChildren(const QModelIndex& parent) const {
  const Value& value = nodeAt(parent).value;
  return parent.column() <= 0 &&
         ((value.isDictionary() && !value.asDictionary()->empty()) || (value.isArray() && !value.asArray()->empty()));
}

QVariant SettingsModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::EditRole)) return {};
  const Node& node = nodeAt(index);
  switch (index.column()) {
    case KEY:
      return node.above->value.isArray() ? QString::number(node.row) : shown(node.key);
    case KIND:
      return nameOf(kindOf(node.value));
    default:
      return role == Qt::EditRole ? editable(node.value) : valueText(node.value);
  }
}

QVariant SettingsModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  switch (section) {
    case KEY:
      return tr("Key");
    case KIND:
      return tr("Kind");
    case VALUE:
      return tr("Value");
    default:
      return {};
  }
}

Qt::ItemFlags SettingsModel::flags(const QModelIndex& index) const {
  const bool isEdited = index.column() == VALUE && !isContainer(kindOf(nodeAt(index).value));
  return QAbstractItemModel::flags(index) | (isEdited ? Qt::ItemIsEditable : Qt::NoItemFlags);
}

}  // namespace corvane::inspector
