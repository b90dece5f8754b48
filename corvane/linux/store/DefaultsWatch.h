#pragma once

#include <functional>
#include <memory>

#include "corvane/platform/Result.h"

namespace corvane::defaults_files {

/// Calls `changed` on the main queue after counters in the settings folder have changed, for as long as the returned
/// object lives.
Result<std::shared_ptr<void>> watchChanges(std::function<void()> changed);

}  // namespace corvane::defaults_files
