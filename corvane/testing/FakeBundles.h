#pragma once

#include <map>
#include <string>

#include "corvane/platform/Bundles.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Bundles defined by a test.
class CORVANE_API FakeBundles : public Bundles {
 public:
  BundleFiles main;                           ///< what mainBundle() gives
  BundleFiles library;                        ///< what libraryBundle() gives
  std::map<std::string, BundleFiles> byPath;  ///< what bundleAt() finds

  BundleFiles mainBundle() override { return main; }
  BundleFiles libraryBundle() override { return library; }
  Result<BundleFiles> bundleAt(const std::string& path) override;
};

}  // namespace corvane
