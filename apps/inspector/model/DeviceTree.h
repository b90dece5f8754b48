#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/Value.h"

namespace corvane::inspector {

/// A device in the tree of devices.
struct DeviceRow {
  std::string name{};       ///< "sda1"; "?" if it is gone
  std::string className{};  ///< empty if it has none
  std::size_t depth = 0;    ///< how many devices are above it
  bool matches = false;     ///< false if it is in the tree only because devices below it match
  std::string path{};       ///< what identifies it; empty if it is gone
  std::string parent{};     ///< the path of its parent; empty if it has none
  Value::Dictionary properties{};
  Value::Dictionary display{};  ///< what the display at this connector says about itself
};

/// A text among properties; empty if there is none with this name.
std::string textIn(const Value::Dictionary& properties, std::string_view key);

/// The devices of a class with those above them, parents before their children.
std::vector<DeviceRow> deviceTree(const std::string& className);

}  // namespace corvane::inspector
