#include "corvane/testing/FakeDeviceRegistry.h"

#include <errno.h>

#include <algorithm>

namespace corvane {

namespace {

using Device = FakeDeviceRegistry::Device;

// Calls `visit` with each device that is there and with its parent (nullptr for none), parents first, until it returns
// true. True if it did.
template <class Visit>
bool anyOf(const std::vector<Device>& devices, const Device* parent, const Visit& visit) {
  return std::any_of(devices.begin(), devices.end(), [&](const Device& device) {
    return !device.gone && (visit(device, parent) || anyOf(device.children, &device, visit));
  });
}

bool matches(const Device& device, const std::string& name) {
  const auto& others = device.alsoMatches;
  return device.className == name || std::find(others.begin(), others.end(), name) != others.end();
}

}  // namespace

std::size_t FakeDeviceRegistry::references() const {
  std::size_t count = 0;
  for (const auto& [handle, held] : m_held) count += held.references;
  return count;
}

Result<const Device*> FakeDeviceRegistry::find(Handle handle) const {
  const auto held = m_held.find(handle);
  if (held != m_held.end() &&
      anyOf(devices, nullptr, [&](const Device& device, const Device*) { return &device == held->second.device; }))
    return held->second.device;
  return failure("posix", ENODEV, "No device " + std::to_string(handle));
}

DeviceRegistry::Handle FakeDeviceRegistry::take(const Device* device) {
  auto held =
      std::find_if(m_held.begin(), m_held.end(), [&](const auto& entry) { return entry.second.device == device; });
  if (held == m_held.end()) held = m_held.emplace(++m_last, Held{device}).first;
  ++held->second.references;
  return held->first;
}

Result<std::vector<DeviceRegistry::Handle>> FakeDeviceRegistry::matching(const std::string& className) {
  if (error) return tl::unexpected<Error>(*error);
  std::vector<Handle> found;
  anyOf(devices, nullptr, [&](const Device& device, const Device*) {
    if (matches(device, className)) found.push_back(take(&device));
    return false;
  });
  return found;
}

DeviceRegistry::Handle FakeDeviceRegistry::parent(Handle device) {
  const auto found = find(device);
  const Device* parent = nullptr;
  if (found)
    anyOf(devices, nullptr, [&](const Device& candidate, const Device* above) {
      if (&candidate == *found) parent = above;
      return &candidate == *found;
    });
  return parent ? take(parent) : 0;
}

DeviceRegistry::Handle FakeDeviceRegistry::firstChild(Handle device) {
  const auto found = find(device);
  if (!found) return 0;
  const auto& children = (*found)->children;
  const auto first = std::find_if(children.begin(), children.end(), [](const Device& child) { return !child.gone; });
  return first == children.end() ? 0 : take(&*first);
}

Result<std::string> FakeDeviceRegistry::className(Handle device) {
  return find(device).and_then([](const Device* found) -> Result<std::string> {
    if (found->className.empty()) return failure("posix", ENODATA, "A device without a class");
    return found->className;
  });
}

Result<Value::Dictionary> FakeDeviceRegistry::properties(Handle device) {
  return find(device).map([](const Device* found) { return found->properties; });
}

void FakeDeviceRegistry::retain(Handle device) {
  if (const auto held = m_held.find(device); held != m_held.end()) ++held->second.references;
}

void FakeDeviceRegistry::release(Handle device) {
  const auto held = m_held.find(device);
  if (held == m_held.end()) {
    m_overReleases += device != 0;
    return;
  }
  if (--held->second.references == 0) m_held.erase(held);
}

}  // namespace corvane
