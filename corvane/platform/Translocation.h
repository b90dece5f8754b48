#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// Applications that the platform runs from another place than the user put them, and their signatures. Any thread.
///
/// Linux relocates no application and signs none: there no path has an original, and every application is valid.
class Translocation {
 public:
  virtual ~Translocation() = default;

  /// The path of what the platform has relocated to `path`; none if that is its own place.
  virtual std::optional<std::string> originalPath(const std::string& path) = 0;

  /// Fails, with the reason, if the running application is not as its maker signed it.
  virtual Result<void> verifySignature() = 0;
};

template <>
CORVANE_API std::shared_ptr<Translocation> makeService<Translocation>();

}  // namespace corvane
