#include "corvane/testing/FakeFontBook.h"

namespace corvane {

Result<std::optional<FontFace>> FakeFontBook::face(const std::string& name) {
  const auto found = faces.find(name);
  return found == faces.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace corvane
