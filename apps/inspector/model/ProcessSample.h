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

/// The process table with what each process used of the processors since the look before. Processes are distinguished
/// by id and start. One thread at a time.
///
///     ProcessSampler sampler;                       // notes what was used so far
///     std::this_thread::sleep_for(std::chrono::seconds(1));
///     const auto rows = sampler.sample();           // and what in this second
///
/// The system counts time on the processors in steps of 10 ms, so a share over one second is good to one percent.
class ProcessSampler {
 public:
  using Clock = std::chrono::steady_clock;

  /// Over less than this there are no shares.
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
  std::optional<Usage> m_before;  // std::nullopt: the table could not be read
  std::map<uid_t, std::string> m_users;
};

}  // namespace corvane::inspector
