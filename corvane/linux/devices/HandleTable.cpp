#include "corvane/linux/devices/HandleTable.h"

namespace corvane {

HandleTable::Handle HandleTable::take(DeviceIdentity identity) {
  MutexLock lock(m_mutex);
  if (const auto known = m_handles.find(identity); known != m_handles.end()) {
    ++m_held.at(known->second).references;
    return known->second;
  }
  do ++m_last;
  while (m_last == 0 || m_held.contains(m_last));
  m_handles.emplace(identity, m_last);
  m_held.emplace(m_last, Held{std::move(identity)});
  return m_last;
}

std::optional<DeviceIdentity> HandleTable::find(Handle handle) const {
  MutexLock lock(m_mutex);
  const auto held = m_held.find(handle);
  return held == m_held.end() ? std::nullopt : std::optional(held->second.identity);
}

void HandleTable::retain(Handle handle) {
  MutexLock lock(m_mutex);
  if (const auto held = m_held.find(handle); held != m_held.end()) ++held->second.references;
}

void HandleTable::release(Handle handle) {
  MutexLock lock(m_mutex);
  const auto held = m_held.find(handle);
  if (held == m_held.end() || --held->second.references > 0) return;
  m_handles.erase(held->second.identity);
  m_held.erase(held);
}

}  // namespace corvane
