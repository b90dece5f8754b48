#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "corvane/platform/Result.h"
#include "corvane/system/procinfo/procinfo.h"
#include "corvane/system/procinfo/proclist.h"

namespace corvane::inspector {

/// The process table, with each process's use of the processors since the previous sample. Processes are identified by
/// id and start time. One thread at a time.
///
///     ProcessSampler sampler;                       // notes what was used so far
///     std::this_thread::sleep_for(std::chrono::seconds(1));
///     const auto rows = sampler.sample();           // and what in this second
///
/// The system counts processor time in steps of 10 ms, so a share over one second is accurate to one percent.
class ProcessSampler {
 public:
  using Clock = std::chrono::steady_clock;

  /// There are no shares over a shorter interval than this.
  static constexpr std::chrono::milliseconds SHORTEST{50};

  explicit ProcessSampler(Clock::time_point now = Clock::now());

  /// The processes in ascending order of their ids, with their shares since the previous call, or since construction.
  /// Processes that end meanwhile are omitted. With `only`, all others are, too, which is much faster.
  Result<std::vector<ProcessRow>> sample(Clock::time_point now = Clock::now(), std::optional<pid_t> only = {});

  /// The interval of the last sample's shares in seconds; 0 before the first one.
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
  std::optional<Usage> m_before;  // std::nullopt: the table could not be read
  std::map<uid_t, std::string> m_users;
};

}  // namespace corvane::inspector
