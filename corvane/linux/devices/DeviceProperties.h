#pragma once

#include <libudev.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "corvane/platform/Value.h"

namespace corvane {

struct UdevRelease {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
  void operator()(udev_enumerate* list) const { udev_enumerate_unref(list); }
};
/// An object of libudev, owned. Such objects are for one thread.
template <class T>
using Udev = std::unique_ptr<T, UdevRelease>;

/// The device's type, else its subsystem, else its driver; empty if it has none of them.
std::string deviceClass(udev_device* device);

/// The properties that udev and the kernel report, and the documented ones of media and displays.
Value::Dictionary deviceProperties(udev_device* device);

/// The identification data of the display at a connector; empty if the device is none or has no display.
std::vector<std::uint8_t> displayIdentification(udev_device* device);

}  // namespace corvane
