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

#include "apps/inspector/model/History.h"
#include "apps/inspector/model/ProcessRow.h"
#include "apps/inspector/model/Readings.h"
#include "corvane/core/Timeval.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// Statistics of one repeater, in the units that are shown.
struct RepeaterRow {
  std::string name;
  std::int64_t count = 0;
  double totalSeconds = 0;
  double intervalSeconds = 0;  ///< average
  double durationUsec = 0;     ///< average
  bool paused = false;
};

/// The repeaters of a program, and what may be done with them.
class RepeaterSource {
 public:
  static constexpr int MIN_TIME_CONSTANT = 1;
  static constexpr int MAX_TIME_CONSTANT = 60;

  virtual ~RepeaterSource() = default;

  /// All of them in any order, the paused ones included. Names are unique.
  virtual std::vector<RepeaterRow> rows() const = 0;

  /// Stops a repeater, or starts it again. A paused one keeps its last statistics; a resumed one begins with new ones.
  virtual void togglePause(std::string_view name) = 0;

  virtual void resetStats() = 0;

  /// Seconds over which the statistics average.
  virtual int timeConstant() const = 0;
  /// Sets them, within the limits.
  virtual void setTimeConstant(int seconds) = 0;
};

/// What a program's log holds.
struct LogFigures {
  std::string path;                   ///< empty if the program keeps no log
  std::optional<std::uint64_t> size;  ///< bytes; std::nullopt if there is no such file now
  std::int64_t archives = 0;
  std::int64_t lines = 0;  ///< written by the program since it was started
};

/// Where the figures that are shown come from: a machine, and a program that runs there. On the main queue only; no
/// call waits for another process. What changes is asked for again whenever it is shown.
class Source {
 public:
  virtual ~Source() = default;

  /// The machine's name, in whatever bytes it was given.
  virtual std::string host() const = 0;

  /// When the program was started.
  virtual Timeval started() const = 0;

  virtual const Readings& readings() const = 0;
  virtual const History& history(Gauge gauge) const = 0;

  virtual RepeaterSource& repeaters() = 0;

  /// The program's registrations with the broadcaster.
  virtual std::vector<broadcaster_stats> listeners() const = 0;

  virtual LogFigures log() const = 0;
  /// The last `limit` bytes of the log, from the first whole line; std::nullopt if there is no such file.
  virtual std::optional<std::string> logTail(std::size_t limit) const = 0;

  /// Gives the processes of the machine, again and again for as long as the result lives; or once why it cannot,
  /// perhaps before this returns.
  using ProcessTaker = std::function<void(Result<std::vector<ProcessRow>>)>;
  virtual std::shared_ptr<void> followProcesses(ProcessTaker taker) = 0;

  /// Sends a signal to the process that has this number and was started then (see ProcessRow), and to no other that
  /// has got its number since. The failure's description is a clause for the user.
  virtual Result<void> signal(pid_t pid, std::int64_t started, int number) = 0;
};

}  // namespace corvane::inspector
