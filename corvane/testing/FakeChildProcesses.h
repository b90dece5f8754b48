#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/ChildProcesses.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Programs defined by a test. There are no others, and nothing is actually started.
class CORVANE_API FakeChildProcesses : public ChildProcesses {
 public:
  /// What a program does: it writes to its standard output and exits.
  struct Program {
    std::int32_t status = 0;          ///< its exit status
    std::string output = {};          ///< at most 64 KiB, the capacity of a pipe
    std::optional<Error> error = {};  ///< if set, it cannot be started
  };

  std::map<std::string, Program> programs;  ///< by path; do not change it after the code under test has started one

  /// The arguments of each program that was started, its own name first, in the order of starting.
  std::vector<std::vector<std::string>> started() const;

  Result<std::array<int, 2>> pipe() override;
  Result<std::unique_ptr<ChildProcess>> spawn(const ChildSettings& settings) override;

 private:
  mutable Mutex m_mutex;
  std::vector<std::vector<std::string>> m_started CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
