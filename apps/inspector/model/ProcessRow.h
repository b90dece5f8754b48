#pragma once

#include <sys/types.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace corvane::inspector {

/// The kind of code that a process runs.
enum class ProcessKind {
  NATIVE,
  TRANSLATED,  ///< under an emulator of another machine
  KERNEL,      ///< a kernel thread
  UNKNOWN      ///< the system does not report whether it translates
};

/// What only the process's own user may know, and root.
struct ProcessFigures {
  std::uint64_t footprint = 0;  ///< bytes of memory that are its own
  std::uint64_t read = 0;       ///< bytes read from disks
  std::uint64_t written = 0;

  auto operator<=>(const ProcessFigures&) const = default;
};

/// The data shown of a process. Texts are unchecked bytes.
struct ProcessRow {
  pid_t pid = 0;
  pid_t parent = 0;  ///< 0 if there is none, or if it is not visible from here
  uid_t uid = 0;     ///< effective
  std::string user;  ///< the user's name, or the id if there is none
  char state = '?';  ///< R runs or is ready to, S sleeps, T is stopped, Z has ended and waits to be reaped
  ProcessKind kind = ProcessKind::UNKNOWN;
  std::string name;  ///< the short one, at most 31 bytes
  std::string path;  ///< of the executable; empty if unknown: a kernel thread, another user's process
  /// Share of one processor over the interval, in percent (more than 100 on several); std::nullopt without an interval.
  std::optional<double> processor;
  std::int64_t processorUsec = 0;  ///< total processor time
  std::uint64_t memory = 0;        ///< resident bytes
  int threads = 0;
  std::int64_t started = 0;                    ///< microseconds since 1970
  std::vector<std::string> arguments = {};     ///< the command line, its name first; empty if unknown
  std::optional<ProcessFigures> figures = {};  ///< if they were asked for and are known
  std::optional<std::size_t> files = {};       ///< open descriptors, if they were asked for and are known

  bool operator==(const ProcessRow&) const = default;
};

/// The command line with blanks between the arguments; the path if there is none.
std::string commandLine(const ProcessRow& row);

}  // namespace corvane::inspector
