#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/DeviceTree.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// What a person would call a device: a disk's size and content, a display's name (else its maker and number, or why
/// its data cannot be read), another product's name; empty if there is nothing to say.
std::string deviceDescription(const DeviceRow& device);

/// The devices as a tree in a table with a heading, on request with the properties of those that match below each of
/// them. If a width is given, no line is wider.
std::string deviceTable(const std::vector<DeviceRow>& devices, bool properties, const Glyphs& glyphs,
                        std::optional<std::size_t> width);

/// A device as a JSON object in one line, without a line end. Data is in hexadecimal digits; what it does not have is
/// null.
std::string deviceObject(const DeviceRow& device);

}  // namespace corvane::inspector
