#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/inspector/model/Disks.h"
#include "apps/inspector/model/History.h"
#include "apps/inspector/model/ProcessRow.h"
#include "apps/inspector/model/Readings.h"
#include "corvane/core/Timeval.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/platform/PowerManager.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// Statistics of one repeater, in the units for display.
struct RepeaterRow {
  std::string name;
  std::int64_t count = 0;
  double totalSeconds = 0;
  double intervalSeconds = 0;  ///< average
  double durationUsec = 0;     ///< average
  bool paused = false;
};

/// The repeaters of a program, and the operations on them.
class RepeaterSource {
 public:
  static constexpr int MIN_TIME_CONSTANT = 1;
  static constexpr int MAX_TIME_CONSTANT = 60;

  virtual ~RepeaterSource() = default;

  /// All repeaters in any order, including paused ones. Names are unique.
  virtual std::vector<RepeaterRow> rows() const = 0;

  /// Stops a repeater, or starts it again. A paused repeater keeps its last statistics; a resumed one starts with new
  /// ones.
  virtual void togglePause(std::string_view name) = 0;

  virtual void resetStats() = 0;

  /// The time constant of the averages, in seconds.
  virtual int timeConstant() const = 0;
  /// Sets it, within the limits.
  virtual void setTimeConstant(int seconds) = 0;
};

/// The figures of a program's log.
struct LogFigures {
  std::string path;                   ///< empty if the program has no log
  std::optional<std::uint64_t> size;  ///< in bytes; std::nullopt if the file does not exist now
  std::int64_t archives = 0;
  std::int64_t lines = 0;  ///< lines written by the program since it was started
};

/// The source of the figures: a machine, and a program that runs there. On the main queue only; no call waits for
/// another process. Values that change are read again whenever they are shown.
class Source {
 public:
  virtual ~Source() = default;

  /// The machine's name, as unchecked bytes.
  virtual std::string host() const = 0;

  /// When the program was started.
  virtual Timeval started() const = 0;

  virtual const Readings& readings() const = 0;
  virtual const History& history(Gauge gauge) const = 0;

  virtual RepeaterSource& repeaters() = 0;

  /// The program's registrations with the broadcaster.
  virtual std::vector<broadcaster_stats> listeners() const = 0;

  virtual LogFigures log() const = 0;
  /// The last `limit` bytes of the log, from the first whole line; std::nullopt if the file does not exist.
  virtual std::optional<std::string> logTail(std::size_t limit) const = 0;

  /// Passes on the processes of the machine periodically, for as long as the result lives; or once the reason why this
  /// is not possible, perhaps before it returns. With `figures` if wanted, for which a person may be asked: until then,
  /// nothing is passed on.
  using ProcessTaker = std::function<void(Result<std::vector<ProcessRow>>)>;
  virtual std::shared_ptr<void> followProcesses(bool figures, ProcessTaker taker) = 0;

  /// Passes on one process with its open files, in the same way; no row once it has ended. Another one may get its id.
  virtual std::shared_ptr<void> followProcess(pid_t pid, ProcessTaker taker) = 0;

  /// Passes on what keeps the machine awake, in the same way.
  using AssertionTaker = std::function<void(Result<std::vector<AssertionRecord>>)>;
  virtual std::shared_ptr<void> followAssertions(AssertionTaker taker) = 0;

  /// Passes on the machine's disks, in the same way.
  using DiskTaker = std::function<void(Result<std::vector<DiskRow>>)>;
  virtual std::shared_ptr<void> followDisks(DiskTaker taker) = 0;

  /// Mounts or unmounts a disk in the background, and passes the outcome on, later, if the result still lives then.
  using OutcomeTaker = std::function<void(const DiskOutcome&)>;
  virtual std::shared_ptr<void> request(const DiskRequest& request, OutcomeTaker taker) = 0;

  /// Sends a signal to the process with this id and start time (see ProcessRow), never to another one that has since
  /// got the same id. The failure's description is a clause for the user.
  virtual Result<void> signal(pid_t pid, std::int64_t started, int number) = 0;
};

}  // namespace corvane::inspector
