#pragma once

#include <vector>

#include "corvane/platform/PowerManager.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// What keeps this machine awake: in the order of processes, types and reasons, with the names of the processes as far
/// as they can be found out. Waits for other processes, for at most a second.
Result<std::vector<AssertionRecord>> readAssertions();

/// The order of the records.
bool isBefore(const AssertionRecord& a, const AssertionRecord& b);

/// What has changed from one reading to the next.
struct AssertionChanges {
  std::vector<AssertionRecord> released;
  std::vector<AssertionRecord> taken;
};
AssertionChanges changesBetween(const std::vector<AssertionRecord>& before, const std::vector<AssertionRecord>& after);

}  // namespace corvane::inspector
