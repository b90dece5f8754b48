#pragma once

#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Folders.h"

namespace corvane {

/// Folders below a root chosen by the test, laid out as on Linux. With an empty root every call fails.
class CORVANE_API FakeFolders : public Folders {
 public:
  explicit FakeFolders(std::string root) : m_root(std::move(root)) {}  ///< the root, which need not exist
  Result<std::string> home() override;
  Result<std::string> library() override;
  Result<std::string> caches() override;
  Result<std::string> configuration() override;
  Result<std::string> applicationSupport() override;

 private:
  Result<std::string> below(const std::string& name) const;
  const std::string m_root;
};

}  // namespace corvane
