#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "apps/inspector/model/ProgramLink.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// Takes an operand for the program that is meant. The error, for the second one, is for the user.
tl::expected<void, std::string> takeProgram(std::string_view operand, std::string& program);

/// Runs a command on the running program that is meant by a process id, a name, an identifier or an executable's file
/// name, and returns its status. If there is not exactly one, reports those that it could be, or those that run.
int withProgram(std::string_view text, const std::function<int(const ProgramIdentity&)>& run);

/// A program that a command looks at until it is told to stop: through its runs, with a line on standard error whenever
/// it ends or runs again.
class WatchedProgram {
 public:
  explicit WatchedProgram(ProgramIdentity program);

  const std::shared_ptr<ProgramLink>& link() const { return m_link; }

  /// Reports what has become of the program since the last call.
  void tell();

 private:
  const std::shared_ptr<ProgramLink> m_link;
  Presence m_presence = Presence::HERE;
};

}  // namespace corvane::inspector
