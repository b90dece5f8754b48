#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// What a new child runs, and where. No text may contain a zero byte.
struct ChildSettings {
  std::string executable;                               ///< a path
  std::vector<std::string> arguments;                   ///< the program's own name first
  std::optional<std::vector<std::string>> environment;  ///< "NAME=value"; std::nullopt: the caller's
  std::string folder;  ///< the working folder, entered before the path is used; empty: the caller's
  /// The caller's descriptors that become the child's standard streams, in this order; negative: the caller's own
  /// stream. Standard error may name 1, the child's standard output; otherwise the descriptors must be above the
  /// standard ones.
  std::array<int, 3> streams = {-1, -1, -1};
  bool sharesGroup = false;  ///< whether it stays in the caller's process group; otherwise it leads its own
};

/// How a child ended.
struct ChildExit {
  std::int32_t status = 0;  ///< its exit status, or the number of the signal
  bool killed = false;      ///< whether a signal ended it
  rusage usage = {};        ///< the resources used by it and by the children that it waited for
};

/// A child. Its process id is not reused until take() has been called. Any thread.
class ChildProcess {
 public:
  virtual ~ChildProcess() = default;

  /// The process's id.
  virtual pid_t number() const = 0;

  /// Becomes readable when the child has exited. Negative if the system had no descriptor left; wait() works even then.
  virtual int descriptor() const = 0;

  /// Whether its status can still be taken: false if the application has already taken it itself.
  virtual bool exists() const = 0;

  /// Returns when it has exited, or at once if that can no longer be known.
  virtual void wait() const = 0;

  /// Waits for its end and takes its status from the system; std::nullopt if the application ignores SIGCHLD or has
  /// taken the status itself. Call once.
  virtual std::optional<ChildExit> take() = 0;
};

/// Starts programs as children of this process. Nothing else changes in this process, neither signal handlers nor the
/// signal mask. Any thread.
///
/// On Linux this uses posix_spawn, and a process descriptor to wait for the end.
///
/// @feature Commands: `Execute`, `Task`.
/// @needs Nothing.
/// @without Always there.
class ChildProcesses {
 public:
  virtual ~ChildProcesses() = default;

  /// A pipe, the reading end first. The caller closes both ends. Neither is a standard descriptor, and programs started
  /// by any thread do not inherit them.
  virtual Result<std::array<int, 2>> pipe() = 0;

  /// Starts a child, with no descriptors except its standard streams, the default action for every signal, and no
  /// signal blocked. On failure the code is that of exec, or of setting up the streams or the folder. This takes as
  /// long in a large process as in a small one.
  virtual Result<std::unique_ptr<ChildProcess>> spawn(const ChildSettings& settings) = 0;
};

template <>
CORVANE_API std::shared_ptr<ChildProcesses> makeService<ChildProcesses>();

}  // namespace corvane
