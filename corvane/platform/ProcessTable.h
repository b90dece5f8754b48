#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

enum class ProcessState { UNKNOWN, RUNNING, SLEEPING, STOPPED, ZOMBIE };

/// What anybody may know of a process. Times are nanoseconds; what the system does not tell is zero.
struct ProcessInfo {
  pid_t pid = 0;
  pid_t parent = 0;
  pid_t group = 0;
  pid_t session = 0;
  uid_t uid = 0;  ///< effective
  gid_t gid = 0;  ///< effective
  /// The short name, in whatever bytes the process chose; the whole name of the executable where the system keeps a
  /// beginning of it and tells the rest.
  std::string name;
  ProcessState state = ProcessState::UNKNOWN;
  bool kernel = false;      ///< a kernel thread
  bool exiting = false;     ///< on its way out
  bool executed = false;    ///< has started a program since it was forked
  bool translated = false;  ///< runs under an emulator of another machine; known from each() only
  int terminal = 0;         ///< device number, 0 without
  pid_t terminalGroup = 0;  ///< the group in its terminal's foreground, 0 without
  int priority = 0;
  int nice = 0;
  int policy = 0;
  int threads = 0;
  int exitStatus = 0;  ///< of a zombie, as waitpid() gives it
  std::uint64_t minorFaults = 0;
  std::uint64_t majorFaults = 0;
  std::uint64_t childMajorFaults = 0;
  std::uint64_t userTime = 0;
  std::uint64_t systemTime = 0;
  std::uint64_t childUserTime = 0;  ///< of the children that it has waited for
  std::uint64_t childSystemTime = 0;
  std::uint64_t started = 0;  ///< since the system's start, time asleep included
  std::uint64_t virtualBytes = 0;
  std::uint64_t residentBytes = 0;  ///< by the system's quick count
};

/// More of it, which takes further reading.
struct ProcessDetails {
  uid_t realUid = 0;
  uid_t savedUid = 0;
  gid_t realGid = 0;
  gid_t savedGid = 0;
  pid_t tracer = 0;                   ///< 0 without
  std::uint64_t contextSwitches = 0;  ///< of the first thread
  std::uint64_t residentBytes = 0;    ///< counted exactly; 0 also where that is not told
  std::uint64_t lockedBytes = 0;      ///< kept in memory by the process's wish
  std::uint64_t anonymousBytes = 0;   ///< memory that no file backs, also what of it is swapped out
};

struct DiskBytes {
  std::uint64_t read = 0;
  std::uint64_t written = 0;
};

/// A range of addresses of a process and what lies there.
struct MemoryRegion {
  std::uint64_t address = 0;
  std::uint64_t size = 0;
  std::uint64_t offset = 0;  ///< in the file behind it
  bool readable = false;
  bool writable = false;
  bool executable = false;
  bool shared = false;
  bool file = false;  ///< a file is behind it
  std::uint64_t residentBytes = 0;
  std::uint64_t sharedBytes = 0;  ///< of the resident: that other processes have too
  std::uint64_t dirtyBytes = 0;   ///< of the resident: that were changed
  std::uint64_t swappedBytes = 0;
};

/// The processes of this machine, or of the part of it that this process may see. Any thread. Nothing is kept between
/// calls: every one asks the system afresh. A process that does not exist, or that ends while it is read, is an
/// Error of the domain "posix" with the code ESRCH; one that this user may not look into EACCES or EPERM.
///
/// On Linux: /proc. Only region() and arguments() may wait for the process that they ask about.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;

  /// About how many processes there are: rather more than too few.
  virtual std::size_t estimate() = 0;

  /// Stores the ids, in the system's order, as far as there is room. How many there are.
  virtual Result<std::size_t> pids(std::span<pid_t> into) = 0;

  /// Calls `visit` with each process, in the system's order. Those that end meanwhile are left out.
  virtual Result<void> each(const std::function<void(const ProcessInfo&)>& visit) = 0;

  virtual Result<ProcessInfo> process(pid_t pid) = 0;
  virtual Result<ProcessDetails> details(pid_t pid) = 0;
  virtual Result<DiskBytes> diskBytes(pid_t pid) = 0;

  /// The executable's path: where it lies, or lay before it was deleted.
  virtual Result<std::string> path(pid_t pid) = 0;

  /// The program's arguments as the process has them now, its own name first: it may have written anything there.
  /// Empty for a zombie and a kernel thread. Anybody may ask.
  virtual Result<std::vector<std::string>> arguments(pid_t pid) = 0;

  /// The first region that ends above an address; ESRCH also if there is none.
  virtual Result<MemoryRegion> region(pid_t pid, std::uint64_t address) = 0;

  /// How many descriptors the process has open.
  virtual Result<std::size_t> descriptors(pid_t pid) = 0;

  /// Calls `visit` with each descriptor that is open on something in the file system, and with its path: not with
  /// sockets, pipes and memory. Those that are closed meanwhile are left out. `visit` may open and close files.
  virtual Result<void> openFiles(pid_t pid, const std::function<void(int descriptor, const char* path)>& visit) = 0;

  /// Sends a signal to the process that has this id and was started then (ProcessInfo::started); never to another one
  /// that has got its id since, which is ESRCH.
  virtual Result<void> signal(pid_t pid, std::uint64_t started, int number) = 0;

  /// Whether the system starts programs of other machines under an emulator. On Linux: whether binfmt_misc has an
  /// interpreter for executables in force.
  virtual Result<bool> translates() = 0;

  /// When the system was started: microseconds since 1970. It stays the same while this process lives, so that a
  /// process is known again by its id and its start.
  virtual std::int64_t bootTime() = 0;
};

template <>
CORVANE_API std::shared_ptr<ProcessTable> makeService<ProcessTable>();

}  // namespace corvane
