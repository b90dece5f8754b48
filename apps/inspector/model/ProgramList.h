#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// A program that can be looked at.
struct RunningProgram {
  std::int32_t pid = 0;
  Result<ProgramIdentity> identity;  ///< or why it is not known
};

/// The programs on this machine that can be looked at. Each is asked once which one it is, all at the same time. On one
/// thread at a time.
class ProgramList {
 public:
  /// The port must outlive the list by a call's time.
  explicit ProgramList(DiagnosticsPort& port) : m_port(port) {}

  /// The programs that run now, in the order of their process ids; waits at most a second for those that do not answer.
  Result<std::vector<RunningProgram>> read();

  bool has(std::int32_t pid) const;

  /// The latest run of the same program that was not started before this one.
  std::optional<ProgramIdentity> runAfter(const ProgramIdentity& program);

 private:
  struct Answer;

  DiagnosticsPort& m_port;
  std::map<std::int32_t, std::shared_ptr<Answer>> m_answers;
};

/// The programs with this process id, name, identifier or file name of the executable, regardless of case.
std::vector<ProgramIdentity> programsNamed(const std::vector<RunningProgram>& programs, std::string_view text);

}  // namespace corvane::inspector
