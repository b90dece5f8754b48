#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// What a display says about itself (VESA Enhanced EDID, structure versions 1.0 to 1.4; the base block).
struct Edid {
  std::string vendor;           ///< three letters, "DEL"; '?' for what is no letter
  std::uint16_t vendorID = 0;   ///< the same as the number that it is stored as
  std::uint16_t productID = 0;  ///< the vendor's number for the product
  std::uint32_t serial = 0;     ///< 0 if the display has none
  std::string name;             ///< the product's name; empty if there is none, as in most built-in panels
  std::string serialText;       ///< the serial number as printed on the display; empty if there is none
  std::optional<int> week;      ///< of manufacture, 1 to 54
  int year = 0;                 ///< of manufacture, or of the model
  int widthMm = 0;              ///< of the picture; 0 if unknown, as for projectors
  int heightMm = 0;             ///< like widthMm
};

/// Reads the data that a display sends, of any size: from /sys/class/drm/*/edid, or the output property "EDID" of an X
/// server. Extension blocks are ignored, whether or not they are there. The names are valid UTF-8. Fails, with an Error
/// of the domain "edid", on data that is cut off, does not begin with the signature, or has a wrong checksum: then any
/// value may be damaged. Any thread.
CORVANE_API Result<Edid> parseEdid(std::span<const std::uint8_t> bytes);

}  // namespace corvane
