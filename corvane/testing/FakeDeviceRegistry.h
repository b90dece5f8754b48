#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "corvane/platform/DeviceRegistry.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Devices defined by a test, as trees:
///
///     fake.deviceRegistry->devices = {{.className = "disk", .children = {{.className = "partition"}}}};
///
/// Do not add or remove devices while references are held; set `gone` instead.
class CORVANE_API FakeDeviceRegistry : public DeviceRegistry {
 public:
  /// A device and those below it.
  struct Device {
    std::string className{};                 ///< empty if it has none
    std::vector<std::string> alsoMatches{};  ///< class names that match it besides its own
    Value::Dictionary properties{};          ///< its own, by name
    bool gone = false;                       ///< as if it and its children had been removed
    std::vector<Device> children{};          ///< the devices below it
  };
  std::vector<Device> devices;  ///< those without a parent; the registry's order is that of the trees, parents first
  std::optional<Error> error;   ///< if set, matching() fails with it

  /// How many references are held.
  std::size_t references() const;
  /// How many references have been given back that nobody held.
  std::size_t overReleases() const { return m_overReleases; }

  Result<std::vector<Handle>> matching(const std::string& className) override;
  Handle parent(Handle device) override;
  Handle firstChild(Handle device) override;
  Result<std::string> className(Handle device) override;
  Result<Value::Dictionary> properties(Handle device) override;
  void retain(Handle device) override;
  void release(Handle device) override;

 private:
  Result<const Device*> find(Handle handle) const;
  Handle take(const Device* device);

  struct Held {
    const Device* device = nullptr;
    std::size_t references = 0;
  };
  std::map<Handle, Held> m_held;
  Handle m_last = 0;
  std::size_t m_overReleases = 0;
};

}  // namespace corvane
