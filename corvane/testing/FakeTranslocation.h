#pragma once

#include <map>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Translocation.h"

namespace corvane {

/// A platform that relocates applications as defined by a test.
class CORVANE_API FakeTranslocation : public Translocation {
 public:
  std::map<std::string, std::string> originals;  ///< path → path of its original
  std::optional<Error> invalid;                  ///< if set, the application's signature is not valid

  std::optional<std::string> originalPath(const std::string& path) override;
  Result<void> verifySignature() override;
};

}  // namespace corvane
