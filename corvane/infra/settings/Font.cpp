#include "corvane/infra/settings/Font.h"

#include <cmath>

#include "corvane/core/Log.h"
#include "corvane/platform/Platform.h"

namespace corvane {

std::optional<Font> Font::named(const std::string& name, double size) {
  if (!std::isfinite(size) || size <= 0) return std::nullopt;
  const auto face = platform().fontBook().face(name);
  if (!face) logNotice("Font: " + face.error().description);
  if (!face || !*face) return std::nullopt;
  return Font{(*face)->family, (*face)->name, size};
}

}  // namespace corvane
