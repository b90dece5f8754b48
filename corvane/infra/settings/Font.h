#pragma once

#include <optional>
#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// A face of a font in a size, independent of any toolkit. A plain value.
struct CORVANE_API Font {
  std::string family;  ///< "DejaVu Sans"; empty if the font does not belong to one
  std::string name;    ///< the face: "DejaVuSans-Bold"
  double size = 0;     ///< in points

  /// The installed font with a name: the name of a face ("DejaVuSans-Bold", "DejaVu Sans Bold"), or of a family, which
  /// gives the family's default face. std::nullopt if no such font is installed or the size is not a positive finite
  /// number. The first call reads the system's list of fonts, which takes a few milliseconds. Any thread.
  static std::optional<Font> named(const std::string& name, double size);

  bool operator==(const Font&) const = default;
};

}  // namespace corvane
