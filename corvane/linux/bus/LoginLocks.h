#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/linux/Deadline.h"
#include "corvane/linux/bus/BusLink.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// A lock in the login manager (logind), as it lists them.
struct LoginLock {
  std::string what;  ///< the actions, with colons between them
  std::string who;
  std::string why;
  std::string mode;  ///< "block" or "delay"
  std::int32_t pid = 0;

  /// Whether one of the actions is this one.
  bool covers(std::string_view action) const;
};

/// Takes a blocking lock, which is in force until every copy of the descriptor is closed; calls `meanwhile` while the
/// login manager answers. Any thread.
Result<FileDescriptor> takeLoginLock(BusLink& system, const char* what, const std::string& who, const std::string& why,
                                     const Deadline& deadline, const std::function<void()>& meanwhile);

/// The locks of all users; as above. Any thread.
Result<std::vector<LoginLock>> loginLocks(BusLink& system, const Deadline& deadline,
                                          const std::function<void()>& meanwhile);

}  // namespace corvane
