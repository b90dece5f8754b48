#pragma once

#include <sys/types.h>

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

#include "corvane/core/Mutex.h"

namespace corvane {

/// What makes a device of /sys itself: its folder's path and number. The kernel does not use the number again, so a
/// device that is removed and added again has another one.
struct DeviceIdentity {
  std::string path;
  ino_t folder = 0;

  auto operator<=>(const DeviceIdentity&) const = default;
};

/// Numbers for devices, with references counted. Any thread.
class HandleTable {
 public:
  using Handle = std::uint32_t;

  /// The device's number, with one more reference.
  Handle take(DeviceIdentity identity);
  std::optional<DeviceIdentity> find(Handle handle) const;
  void retain(Handle handle);
  void release(Handle handle);

 private:
  struct Held {
    DeviceIdentity identity;
    std::uint64_t references = 1;
  };
  mutable Mutex m_mutex;
  std::unordered_map<Handle, Held> m_held CORVANE_GUARDED_BY(m_mutex);
  std::map<DeviceIdentity, Handle> m_handles CORVANE_GUARDED_BY(m_mutex);
  Handle m_last CORVANE_GUARDED_BY(m_mutex) = 0;
};

}  // namespace corvane
