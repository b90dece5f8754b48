#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// A face of an installed font.
struct FontFace {
  std::string family;  ///< "DejaVu Sans"
  std::string name;    ///< the face's own name: "DejaVuSans-Bold" (PostScript name), or its full name if it lacks one
};

/// The fonts that are installed. Any thread.
///
/// @feature Fonts in settings: `Font`.
/// @needs fontconfig with installed fonts.
/// @without No font is found.
class FontBook {
 public:
  virtual ~FontBook() = default;

  /// The installed face with a name, which may be, in this order, a PostScript name, the name of a family (for its
  /// regular upright face, or the nearest to it) or a full name ("DejaVu Sans Bold"); case-insensitive. std::nullopt if
  /// no such font is installed; no substitute is given.
  virtual Result<std::optional<FontFace>> face(const std::string& name) = 0;
};

template <>
CORVANE_API std::shared_ptr<FontBook> makeService<FontBook>();

}  // namespace corvane
