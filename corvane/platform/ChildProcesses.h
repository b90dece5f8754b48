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

/// What a new child runs, and where. No text may have a zero byte.
struct ChildSettings {
  std::string executable;                               ///< a path
  std::vector<std::string> arguments;                   ///< the program's own name first
  std::optional<std::vector<std::string>> environment;  ///< "NAME=value"; std::nullopt: the caller's
  std::string folder;  ///< to run in, entered before the path is used; empty: the caller's
  /// The caller's descriptors that become the child's standard streams, in this order; negative: the caller's own
  /// stream. Standard error may name 1, the child's standard output; otherwise they are above the standard ones.
  std::array<int, 3> streams = {-1, -1, -1};
  bool sharesGroup = false;  ///< stays in the caller's process group; otherwise leads one of its own
};

/// How a child ended.
struct ChildExit {
  std::int32_t status = 0;  ///< its exit status, or the number of the signal
  bool killed = false;      ///< by a signal
  rusage usage = {};        ///< what it used, and its children that it waited for
};

/// A child. Its number stays its own until take() has been called. Any thread.
class ChildProcess {
 public:
  virtual ~ChildProcess() = default;

  virtual pid_t number() const = 0;

  /// Becomes readable when the child has exited. Negative if the system had no descriptor left: wait() works then too.
  virtual int descriptor() const = 0;

  /// Whether its status can still be taken: false if the application has done that by itself.
  virtual bool exists() const = 0;

  /// Returns when it has exited, at once if that cannot be known any more.
  virtual void wait() const = 0;

  /// Waits for its end and takes that from the system; std::nullopt if the application ignores SIGCHLD or has taken it
  /// by itself. Call once.
  virtual std::optional<ChildExit> take() = 0;
};

/// Starts programs as children of this process. Nothing else of this process changes: no signal handler, no signal
/// mask. Any thread.
///
/// On Linux: posix_spawn, and a process descriptor for the end.
class ChildProcesses {
 public:
  virtual ~ChildProcesses() = default;

  /// A pipe, the reading end first. The caller closes both. Neither is a standard descriptor, and no program that any
  /// thread starts inherits them.
  virtual Result<std::array<int, 2>> pipe() = 0;

  /// Starts a child, with no descriptors but its standard streams, every signal at its default action and none blocked.
  /// On failure the code is what exec gives, or the preparation of the streams and the folder. It takes as long in a
  /// large process as in a small one.
  virtual Result<std::unique_ptr<ChildProcess>> spawn(const ChildSettings& settings) = 0;
};

template <>
CORVANE_API std::shared_ptr<ChildProcesses> makeService<ChildProcesses>();

}  // namespace corvane
