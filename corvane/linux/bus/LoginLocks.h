#pragma once

#include <cstdint>
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

/// Takes a blocking lock, which is in force until every copy of the descriptor is closed. Any thread.
Result<FileDescriptor> takeLoginLock(BusLink& system, const char* what, const std::string& who, const std::string& why,
                                     const Deadline& deadline);

/// The locks of all users. Any thread.
Result<std::vector<LoginLock>> loginLocks(BusLink& system, const Deadline& deadline);

}  // namespace corvane
