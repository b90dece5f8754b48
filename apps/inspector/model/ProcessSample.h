#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "corvane/platform/Result.h"
#include "corvane/system/procinfo/procinfo.h"
#include "corvane/system/procinfo/proclist.h"

namespace corvane::inspector {

/// What kind of code a process runs.
enum class ProcessKind {
  NATIVE,
  TRANSLATED,  ///< under an emulator of another machine
  KERNEL,      ///< a thread of the kernel
  UNKNOWN      ///< the system does not tell whether it translates
};

/// What is shown of a process. Texts are bytes from outside.
struct ProcessRow {
  pid_t pid = 0;
  pid_t parent = 0;  ///< 0 without, or if it cannot be seen from here
  uid_t uid = 0;     ///< effective
  std::string user;  ///< its name, or the number where it has none
  char state = '?';  ///< R runs or is ready to, S sleeps, T is stopped, Z has ended and waits to be taken note of
  ProcessKind kind = ProcessKind::UNKNOWN;
  std::string name;  ///< the short one, at most 31 bytes
  std::string path;  ///< of the executable; empty if unknown: a thread of the kernel, another user's process
  /// Share of one processor over the interval, in percent (more than 100 on several); none without an interval.
  std::optional<double> processor;
  std::int64_t processorUsec = 0;  ///< time on the processors in all
  std::uint64_t memory = 0;        ///< resident bytes
  int threads = 0;
  std::int64_t started = 0;  ///< microseconds since 1970

  bool operator==(const ProcessRow&) const = default;
};

/// The process table with what each process used of the processors since the look before. Processes are told apart by
/// id and start. One thread at a time.
///
///     ProcessSampler sampler;                       // notes what was used so far
///     std::this_thread::sleep_for(std::chrono::seconds(1));
///     const auto rows = sampler.sample();           // and what in this second
///
/// The system counts time on the processors in steps of 10 ms, so a share over one second is good to one percent.
class ProcessSampler {
 public:
  using Clock = std::chrono::steady_clock;

  /// Over less than this no share is told.
  static constexpr std::chrono::milliseconds SHORTEST{50};

  explicit ProcessSampler(Clock::time_point now = Clock::now());

  /// The processes in ascending order of their ids, with their shares since the call before, or since the
  /// constructor's. Those that end meanwhile are left out.
  Result<std::vector<ProcessRow>> sample(Clock::time_point now = Clock::now());

  /// Seconds that the last sample's shares cover; 0 before there is one.
  double seconds() const { return m_interval.count(); }

 private:
  struct Used {
    std::int64_t started;
    std::int64_t usec;
  };
  using Usage = std::map<pid_t, Used>;

  std::optional<double> share(const ProcessRow& row) const;
  const std::string& userName(uid_t uid);

  const arch_t m_architecture = process_architecture();
  std::chrono::duration<double> m_interval{};
  Clock::time_point m_moment;
  std::optional<Usage> m_before;  // none: the table could not be read
  std::map<uid_t, std::string> m_users;
};

}  // namespace corvane::inspector
