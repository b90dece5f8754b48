#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// Applications that the platform runs from a place other than where the user put them, and their signatures. Any
/// thread.
///
/// Linux neither relocates nor signs applications: no path has an original, and every application is valid.
///
/// @feature Applications that the system has moved.
/// @needs Nothing: Linux moves none.
/// @without No path has an original.
class Translocation {
 public:
  virtual ~Translocation() = default;

  /// The original path of what the platform has relocated to `path`; std::nullopt if it has not been relocated.
  virtual std::optional<std::string> originalPath(const std::string& path) = 0;

  /// Fails, with the reason, if the running application's signature is not valid.
  virtual Result<void> verifySignature() = 0;
};

template <>
CORVANE_API std::shared_ptr<Translocation> makeService<Translocation>();

}  // namespace corvane
