#pragma once

#include <errno.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/ProcessTable.h"

namespace corvane {

/// Processes defined by a test.
class CORVANE_API FakeProcessTable : public ProcessTable {
 public:
  /// What is known of one process; what it lacks cannot be read.
  struct Process {
    ProcessInfo info;                       ///< its pid is the key that it is stored under
    std::optional<ProcessDetails> details;  ///< of details()
    std::optional<DiskBytes> diskBytes;     ///< of diskBytes()
    std::optional<std::string> path;        ///< of path()
    std::vector<std::string> arguments;     ///< of arguments()
    std::vector<MemoryRegion> regions;      ///< ascending
    std::map<int, std::string> files;       ///< by descriptor
  };
  std::map<pid_t, Process> processes;  ///< by id
  int lacking = EACCES;  ///< reading what a process lacks fails with this code: EACCES, or ESRCH as if it had ended
  std::optional<Error> error;        ///< if set, every call fails with it
  Result<bool> translating = false;  ///< the result of translates()
  std::size_t estimated = 0;         ///< the result of estimate()
  std::int64_t boot = 0;             ///< the result of bootTime()

  std::size_t estimate() override { return estimated; }
  Result<std::size_t> pids(std::span<pid_t> into) override;
  Result<void> each(const std::function<void(const ProcessInfo&)>& visit) override;
  Result<void> eachName(const std::function<bool(pid_t pid, std::string_view name)>& visit) override;
  Result<ProcessInfo> process(pid_t pid) override;
  Result<ProcessDetails> details(pid_t pid) override;
  Result<DiskBytes> diskBytes(pid_t pid) override;
  Result<std::string> path(pid_t pid) override;
  Result<std::vector<std::string>> arguments(pid_t pid) override;
  Result<MemoryRegion> region(pid_t pid, std::uint64_t address) override;
  Result<std::size_t> descriptors(pid_t pid) override;
  Result<void> openFiles(pid_t pid, const std::function<void(int descriptor, const char* path)>& visit) override;
  /// Succeeds if there is such a process; sends nothing.
  Result<void> signal(pid_t pid, std::uint64_t started, int number) override;
  Result<bool> translates() override { return translating; }
  std::int64_t bootTime() override { return boot; }

 private:
  Result<const Process*> find(pid_t pid) const;
};

}  // namespace corvane
