#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/RunningApplications.h"

namespace corvane {

/// Applications defined by a test, which record which of them were brought to the front.
class CORVANE_API FakeRunningApplications : public RunningApplications {
 public:
  std::map<pid_t, std::string> applications;  ///< process → the result of path(); empty if no file represents it
  pid_t active = 0;                           ///< the process of the active application
  std::optional<Error> error;                 ///< if set, every call fails with it
  std::vector<pid_t> activated;               ///< in order

  Result<bool> contains(pid_t pid) override;
  Result<std::string> path(pid_t pid) override;
  Result<void> activate(pid_t pid) override;
  Result<bool> isActive(pid_t pid) override;
};

}  // namespace corvane
