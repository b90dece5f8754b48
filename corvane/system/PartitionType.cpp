#include "corvane/system/PartitionType.h"

#include "corvane/core/Text.h"
#include "corvane/system/IOObject.h"
#include "corvane/system/PartitionNames.h"

namespace corvane {

namespace {

constexpr std::string_view UNKNOWN = "Unknown";
constexpr std::string_view CONTAINER = "AppleAPFSMedia";
constexpr std::string_view CONTAINER_SCHEME = "AppleAPFSContainerScheme";

std::string text(const Value& properties, std::string_view key) {
  const Value* const value = properties.find(key);
  return value && value->isString() ? *value->asString() : std::string();
}

std::int64_t number(const Value& properties, std::string_view key) {
  const Value* const value = properties.find(key);
  if (value && value->isBool()) return *value->asBool() ? 1 : 0;
  return value && value->isInteger() ? *value->asInteger() : -1;
}

bool isNamed(const IOObject& object, std::string_view name) {
  return text(object.properties(), "BSD Name") == name;
}

// Whether a container is in a partition: as its child, or as the child of its scheme.
bool isIn(const IOObject& container, std::string_view partition) {
  bool found = false;
  container.findParent([&](const IOObject& parent) {
    found = isNamed(parent, partition);
    if (!found && parent.className() == CONTAINER_SCHEME)
      parent.findParent([&](const IOObject& store) { found = isNamed(store, partition); });
  });
  return found;
}

std::string containerIn(std::string_view partition) {
  std::string name;
  IOObject::iterateServices(std::string(CONTAINER), [&](const IOObject& container) {
    const Value properties = container.properties();
    if (container.className() == CONTAINER && text(properties, "IOClass") == CONTAINER && isIn(container, partition))
      name = text(properties, "BSD Name");
  });
  return name;
}

// The containers in those media that are selected by their properties.
template <class Select>
std::vector<std::string> containersIn(Select select) {
  std::vector<std::string> containers;
  IOObject::iterateServices("IOMedia", [&](const IOObject& medium) {
    const Value properties = medium.properties();
    const std::string partition = text(properties, "BSD Name");
    if (!select(properties) || number(properties, "Whole") != 0 || partition.empty() ||
        text(properties, "Content") != PartitionType::contentAppleAPFS())
      return;
    if (std::string container = containerIn(partition); !container.empty()) containers.push_back(std::move(container));
  });
  return containers;
}

}  // namespace

PartitionType::PartitionType()
    : m_dict{{std::string(contentAppleAPFS()), "Apple_APFS"},
             {std::string(contentAppleBOOT()), "Apple_Boot"},
             {std::string(contentEFISystem()), "EFI"},
             {std::string(contentHFS()), "Apple_HFS"},
             {std::string(contentLinuxData()), "Linux Filesystem"},
             {std::string(contentLinuxSWAP()), "Linux Swap"},
             {std::string(contentMSBasicData()), "Microsoft Basic Data"},
             {std::string(contentMSReserved()), "Microsoft Reserved"},
             {std::string(contentWindowsNTFS()), "Windows_NTFS"},
             {std::string(contentWindowsRecovery()), "Windows Recovery"}} {}

std::string PartitionType::description(std::string_view content) const {
  const auto entry = m_dict.find(content);
  return entry == m_dict.end() ? std::string(UNKNOWN) : entry->second;
}

std::string PartitionType::typeName(std::string_view content) const {
  if (const auto entry = m_dict.find(content); entry != m_dict.end()) return entry->second;
  const std::string upper = upperCasedAscii(std::string(content));
  if (const auto entry = m_dict.find(upper); entry != m_dict.end()) return entry->second;
  const auto name = partitionName(upper);
  return std::string(name.empty() ? UNKNOWN : name);
}

std::vector<std::string> PartitionType::apfsContainers(std::int64_t unit) const {
  return containersIn([unit](const Value& properties) { return number(properties, "BSD Unit") == unit; });
}

std::vector<std::string> PartitionType::apfsContainers(std::string_view partition) const {
  return containersIn([partition](const Value& properties) { return text(properties, "BSD Name") == partition; });
}

}  // namespace corvane
