#pragma once

#include <optional>
#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// A face of a font in a size, which does not know a toolkit. A plain value.
struct CORVANE_API Font {
  std::string family;  ///< "DejaVu Sans"; empty if the font belongs to none
  std::string name;    ///< the face: "DejaVuSans-Bold"
  double size = 0;     ///< in points

  /// The installed font of a name: of a face ("DejaVuSans-Bold", "DejaVu Sans Bold"), or of a family, which gives the
  /// family's default face. None if nothing of that name is installed, or the size is not a positive finite number. The
  /// first call reads the system's list of fonts, which takes some milliseconds. Any thread.
  static std::optional<Font> named(const std::string& name, double size);

  bool operator==(const Font&) const = default;
};

}  // namespace corvane
