#include "corvane/testing/FakeTranslocation.h"

namespace corvane {

std::optional<std::string> FakeTranslocation::originalPath(const std::string& path) {
  const auto found = originals.find(path);
  return found == originals.end() ? std::nullopt : std::optional(found->second);
}

Result<void> FakeTranslocation::verifySignature() {
  if (invalid) return tl::unexpected<Error>(*invalid);
  return {};
}

}  // namespace corvane
