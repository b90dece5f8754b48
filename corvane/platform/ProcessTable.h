#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// What a process is doing.
enum class ProcessState { UNKNOWN, RUNNING, SLEEPING, STOPPED, ZOMBIE };

/// What any user may know about a process. Times are nanoseconds; what the system does not report is zero.
struct ProcessInfo {
  pid_t pid = 0;      ///< its number
  pid_t parent = 0;   ///< of the process that started it, or took it over
  pid_t group = 0;    ///< of processes
  pid_t session = 0;  ///< of groups
  uid_t uid = 0;      ///< effective
  gid_t gid = 0;      ///< effective
  /// The short name, in any encoding that the process chose; the whole name of the executable if the system keeps only
  /// the beginning and the rest is known.
  std::string name;
  ProcessState state = ProcessState::UNKNOWN;  ///< what it is doing
  bool kernel = false;                         ///< a kernel thread
  bool exiting = false;                        ///< is exiting
  bool executed = false;                       ///< has started a program since it was forked
  bool translated = false;                     ///< runs under an emulator of another machine; set by each() only
  int terminal = 0;                            ///< device number, 0 if none
  pid_t terminalGroup = 0;                     ///< the group in its terminal's foreground, 0 if none
  int priority = 0;                            ///< the scheduler's, lower is more urgent
  int nice = 0;                                ///< -20 to 19
  int policy = 0;                              ///< SCHED_* of <sched.h>
  int threads = 0;                             ///< how many it has
  int exitStatus = 0;                          ///< of a zombie, as from waitpid()
  std::uint64_t minorFaults = 0;               ///< page faults
  std::uint64_t majorFaults = 0;               ///< page faults that waited for a disk
  std::uint64_t childMajorFaults = 0;          ///< of the children that it waited for
  std::uint64_t userTime = 0;                  ///< processor time of the program
  std::uint64_t systemTime = 0;                ///< of the kernel on its behalf
  std::uint64_t childUserTime = 0;             ///< of the children that it waited for
  std::uint64_t childSystemTime = 0;           ///< likewise
  std::uint64_t started = 0;                   ///< since the system's start, including time asleep
  std::uint64_t virtualBytes = 0;              ///< addresses in use
  std::uint64_t residentBytes = 0;             ///< the system's quick count
};

/// More details, which take further reading.
struct ProcessDetails {
  uid_t realUid = 0;                  ///< of who started it
  uid_t savedUid = 0;                 ///< to which it can return
  gid_t realGid = 0;                  ///< of who started it
  gid_t savedGid = 0;                 ///< to which it can return
  pid_t tracer = 0;                   ///< 0 if none
  std::uint64_t contextSwitches = 0;  ///< of the first thread
  std::uint64_t residentBytes = 0;    ///< counted exactly; also 0 if the system does not report it
  std::uint64_t lockedBytes = 0;      ///< locked into memory by the process
  std::uint64_t anonymousBytes = 0;   ///< memory not backed by a file, including swapped memory
};

/// How much a process has transferred from and to disks, in bytes.
struct DiskBytes {
  std::uint64_t read = 0;     ///< from disks
  std::uint64_t written = 0;  ///< to disks
};

/// A range of addresses of a process and its contents.
struct MemoryRegion {
  std::uint64_t address = 0;        ///< of the first byte
  std::uint64_t size = 0;           ///< in bytes
  std::uint64_t offset = 0;         ///< in the mapped file
  bool readable = false;            ///< by the process
  bool writable = false;            ///< by the process
  bool executable = false;          ///< by the process
  bool shared = false;              ///< changes are seen by others that map it
  bool file = false;                ///< whether a file is mapped
  std::uint64_t residentBytes = 0;  ///< in memory
  std::uint64_t sharedBytes = 0;    ///< resident and shared with other processes
  std::uint64_t dirtyBytes = 0;     ///< resident and modified
  std::uint64_t swappedBytes = 0;   ///< in swap space
};

/// The processes of this machine, or those of them that this process may see. Any thread. Nothing is kept between
/// calls: every call asks the system again. A process that does not exist, or that ends while it is read, gives an
/// Error of the domain "posix" with the code ESRCH; one that this user may not inspect, with EACCES or EPERM.
///
/// On Linux: /proc. Only region() and arguments() may wait for the process that they ask about.
///
/// @feature Processes: `ProcessList`, `PID`, the C functions.
/// @needs /proc; what belongs to other users needs their rights or root's.
/// @without Calls fail with the system's code; where /proc hides other users' processes, these are not listed.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;

  /// Approximately the number of processes, rather too many than too few.
  virtual std::size_t estimate() = 0;

  /// Stores the ids, in the system's order, as far as there is room. Returns the number of processes.
  virtual Result<std::size_t> pids(std::span<pid_t> into) = 0;

  /// Calls `visit` with each process, in the system's order. Processes that end meanwhile are omitted.
  virtual Result<void> each(const std::function<void(const ProcessInfo&)>& visit) = 0;

  /// Calls `visit` with the id and the name (as ProcessInfo::name) of each process, by ascending id, until it returns
  /// false. Reads nothing else, and so takes less time than each().
  virtual Result<void> eachName(const std::function<bool(pid_t pid, std::string_view name)>& visit) = 0;

  /// What is known of one process.
  virtual Result<ProcessInfo> process(pid_t pid) = 0;
  virtual Result<ProcessDetails> details(pid_t pid) = 0;
  virtual Result<DiskBytes> diskBytes(pid_t pid) = 0;

  /// The executable's path, or the path that it had before it was deleted.
  virtual Result<std::string> path(pid_t pid) = 0;

  /// The program's arguments as the process has them now, its own name first; the process may have overwritten them.
  /// Empty for a zombie and a kernel thread. Any user may ask.
  virtual Result<std::vector<std::string>> arguments(pid_t pid) = 0;

  /// The first region that ends above an address; ESRCH also if there is no such region.
  virtual Result<MemoryRegion> region(pid_t pid, std::uint64_t address) = 0;

  /// How many descriptors the process has open.
  virtual Result<std::size_t> descriptors(pid_t pid) = 0;

  /// Calls `visit` with each descriptor that is open on something in the file system, and with its path, but not with
  /// sockets, pipes and memory. Descriptors that are closed meanwhile are omitted. `visit` may open and close files.
  virtual Result<void> openFiles(pid_t pid, const std::function<void(int descriptor, const char* path)>& visit) = 0;

  /// Sends a signal to the process with this id and start time (ProcessInfo::started), never to another process that
  /// has since got the same id; that gives ESRCH.
  virtual Result<void> signal(pid_t pid, std::uint64_t started, int number) = 0;

  /// Whether the system starts programs of other machines under an emulator. On Linux: whether binfmt_misc has an
  /// interpreter for executables in force.
  virtual Result<bool> translates() = 0;

  /// When the system was started, in microseconds since 1970. It is constant for the life of this process, so that a
  /// process can be recognised by its id and start time.
  virtual std::int64_t bootTime() = 0;
};

template <>
CORVANE_API std::shared_ptr<ProcessTable> makeService<ProcessTable>();

}  // namespace corvane
