#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// The devices of this machine, as a forest of parents and children. Any thread. Nothing is kept between calls but the
/// handles: every call asks the system again.
///
/// A handle stands for one device for as long as somebody holds a reference to it; then its number may be used again,
/// never before. Two handles are equal exactly if they stand for the same device. A device that is removed and added
/// again is another device. Each handle that a call returns holds one reference, which the caller must release().
///
/// A device that is gone, even if it goes away during a call, gives an Error of the domain "posix" with the code
/// ENODEV, and has neither parent nor children. corvane/system/IOObject.h defines class names and properties.
///
/// On Linux: libudev over /sys. The properties of a power supply come from the hardware, and may take a moment.
///
/// @feature Devices: `IOObject`.
/// @needs /sys, and udev's database (`udev`).
/// @without Without udev's database there are no serial numbers and models, and "Content" of partitions is empty.
class DeviceRegistry {
 public:
  using Handle = std::uint32_t;  ///< never 0 for a device

  virtual ~DeviceRegistry() = default;

  /// The devices of a class in the registry's order, parents before their children; empty if there is no such class.
  /// Devices that go away meanwhile are omitted.
  virtual Result<std::vector<Handle>> matching(const std::string& className) = 0;

  /// 0 if there is none.
  virtual Handle parent(Handle device) = 0;

  /// The first one in the registry's order; 0 if there is none.
  virtual Handle firstChild(Handle device) = 0;

  /// The most specific class of a device; ENODATA if it has none.
  virtual Result<std::string> className(Handle device) = 0;

  /// A dictionary.
  virtual Result<Value::Dictionary> properties(Handle device) = 0;

  /// Takes one more reference to a device that the caller holds a reference to.
  virtual void retain(Handle device) = 0;

  /// Gives a reference back. 0 and unknown handles are ignored.
  virtual void release(Handle device) = 0;
};

template <>
CORVANE_API std::shared_ptr<DeviceRegistry> makeService<DeviceRegistry>();

}  // namespace corvane
