#include "corvane/testing/FakeBundles.h"

namespace corvane {

Result<BundleFiles> FakeBundles::bundleAt(const std::string& path) {
  const auto found = byPath.find(path);
  if (found == byPath.end()) return failure("fake", 1, "No bundle at " + path);
  return found->second;
}

}  // namespace corvane
