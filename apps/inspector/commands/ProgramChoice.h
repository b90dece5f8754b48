#pragma once

#include <string>
#include <string_view>

#include "apps/inspector/model/ProgramLink.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The running program that is meant by a process id, a name, an identifier or an executable's file name. The error is
/// for the user: it lists those that it could be, or those that run.
tl::expected<ProgramIdentity, std::string> chooseProgram(std::string_view text);

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
