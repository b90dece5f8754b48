#include "apps/inspector/model/DeviceTree.h"

#include <cstdint>
#include <map>
#include <utility>

#include "corvane/system/IOObject.h"

namespace corvane::inspector {

namespace {

std::string nameIn(const Value::Dictionary& properties) {
  std::string name = textIn(properties, "BSD Name");
  if (name.empty()) name = textIn(properties, "DEVPATH");
  name.erase(0, name.rfind('/') + 1);
  return name.empty() ? "?" : name;
}

class Tree {
 public:
  explicit Tree(const std::string& className) {
    IOObject::iterateServices(className, [this](const IOObject& device) { m_nodes[add(device)].matches = true; });
  }

  std::vector<DeviceRow> rows() const {
    std::vector<DeviceRow> rows;
    appendRows(rows, m_roots, 0, {});
    return rows;
  }

 private:
  struct Node {
    IOObject device;  // held, so that its handle stays its own
    bool matches = false;
    std::vector<std::size_t> children{};
  };

  // The device's place in the tree, where it and those above it are put if they are new.
  std::size_t add(const IOObject& device) {
    const auto [known, isNew] = m_places.emplace(device.ioObject(), m_nodes.size());
    const std::size_t place = known->second;
    if (!isNew) return place;
    m_nodes.push_back({device});
    bool isRoot = true;
    device.findParent([&](const IOObject& parent) {
      isRoot = false;
      const std::size_t above = add(parent);
      m_nodes[above].children.push_back(place);
    });
    if (isRoot) m_roots.push_back(place);
    return place;
  }

  void appendRows(std::vector<DeviceRow>& rows, const std::vector<std::size_t>& places, std::size_t depth,
                  const std::string& parent) const {
    for (const std::size_t place : places) {
      const Node& node = m_nodes[place];
      DeviceRow row{.depth = depth, .matches = node.matches, .parent = parent, .properties = node.device.properties()};
      row.name = nameIn(row.properties);
      row.path = textIn(row.properties, "DEVPATH");
      row.className = textIn(row.properties, "IOClass");
      row.display = node.device.displayInfo();
      const std::string path = row.path;
      rows.push_back(std::move(row));
      appendRows(rows, node.children, depth + 1, path);
    }
  }

  std::vector<Node> m_nodes;
  std::vector<std::size_t> m_roots;
  std::map<std::uint32_t, std::size_t> m_places;  // by handle
};

}  // namespace

std::string textIn(const Value::Dictionary& properties, std::string_view key) {
  const auto entry = properties.find(key);
  return entry != properties.end() && entry->second.isString() ? *entry->second.asString() : std::string();
}

std::vector<DeviceRow> deviceTree(const std::string& className) {
  return Tree(className).rows();
}

}  // namespace corvane::inspector
