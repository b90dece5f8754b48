#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/inspector/model/Machine.h"
#include "corvane/core/Timeval.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/platform/DiagnosticsPort.h"
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

/// The repeaters of a program, and the operations on them. Those on another program's are carried out soon, if they can
/// be.
class RepeaterSource {
 public:
  static constexpr int MIN_TIME_CONSTANT = 1;
  static constexpr int MAX_TIME_CONSTANT = 60;

  virtual ~RepeaterSource() = default;

  /// All repeaters in any order, including paused ones. Names are unique.
  virtual std::vector<RepeaterRow> rows() const = 0;

  /// Whether the program allows the operations; otherwise they do nothing.
  virtual bool allowsControl() const = 0;

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

/// Whether a program's figures come.
enum class Presence {
  HERE,
  SILENT,  ///< it does not answer, or has not yet; what is shown is what was known last
  ENDED,   ///< the same; another run of the program will be shown as soon as there is one
};

/// The source of the figures that a program shows of itself: this one, or another one on this machine. On the main
/// queue only; no call waits for another process. Values that change are read again whenever they are shown; another
/// program is asked only for those that were read within the last second, and for what is followed.
class Source {
 public:
  virtual ~Source() = default;

  /// The machine that it runs on.
  virtual Machine& machine() = 0;

  /// The program's name, as unchecked bytes; empty for this program.
  virtual std::string name() const = 0;

  /// Which program it is; what is known of another one from its latest run.
  virtual ProgramIdentity identity() const = 0;

  virtual Presence presence() const = 0;

  /// When the program was started.
  virtual Timeval started() const = 0;

  /// The name of the program's settings domain (see UserDefaults).
  virtual std::string settingsDomain() const = 0;

  virtual RepeaterSource& repeaters() = 0;

  /// The program's registrations with the broadcaster.
  virtual std::vector<broadcaster_stats> listeners() const = 0;

  virtual LogFigures log() const = 0;

  /// Passes on what is written to the program's log periodically, for as long as the result lives: first the last
  /// `limit` bytes, from the first whole line, then what has come since. That of another run goes on in the same
  /// place, because programs append to their logs.
  using LogTaker = std::function<void(Result<LogState>)>;
  virtual std::shared_ptr<void> followLog(std::size_t limit, LogTaker taker) = 0;

  /// Passes on the program's queues in the same way. Its activity is recorded meanwhile, for the longest times.
  using QueueTaker = std::function<void(Result<QueueStates>)>;
  virtual std::shared_ptr<void> followQueues(QueueTaker taker) = 0;

  /// Records the program's activity for as long as the result lives, also that of another run.
  virtual std::shared_ptr<void> watch() = 0;

  /// Passes on what was recorded in the last `seconds`, once, if the result still lives then.
  using RecordingTaker = std::function<void(Result<Recording>)>;
  virtual std::shared_ptr<void> takeRecording(double seconds, RecordingTaker taker) = 0;

  /// Passes on the spans of the main thread of at least `nsec` periodically, for as long as the result lives; its
  /// activity is recorded meanwhile. See Inspectable::longSpans().
  using SpanTaker = std::function<void(Result<LongSpans>)>;
  virtual std::shared_ptr<void> followLongSpans(std::int64_t nsec, SpanTaker taker) = 0;
};

}  // namespace corvane::inspector
