#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"
#include "corvane/platform/Value.h"

namespace corvane {

// What a running program shows of itself. Moments are nanoseconds since 1970-01-01 00:00 UTC; 0 stands for none.
// Whole numbers are never negative.

/// Which program it is, and what it allows.
struct ProgramIdentity {
  std::string identifier;           ///< of its bundle; empty if it has none
  std::string name;                 ///< of its bundle, otherwise of its executable
  std::string version;              ///< for people; may be empty
  std::string library;              ///< Corvane's own version
  std::string executable;           ///< path
  std::int32_t pid = 0;             ///< its process
  std::int64_t started = 0;         ///< moment
  bool allowsControl = false;       ///< resetStats(), setTimeConstant() and setPaused() work
  bool showsSettingValues = false;  ///< otherwise settings() tells only the keys

  bool operator==(const ProgramIdentity&) const = default;
};

/// Weighted averages of a series of samples, in microseconds (corvane/core/WeightedStats.h).
struct AverageState {
  double last = 0;            ///< the latest sample
  double smoothed = 0;        ///< the average
  double smoothedSquare = 0;  ///< the average of the squares
  double deviation = 0;       ///< the standard deviation

  bool operator==(const AverageState&) const = default;
};

/// A repeater that is registered with the shared master timer, or that was paused from outside.
struct RepeaterState {
  std::uint64_t id = 0;     ///< never used again for another repeater of the process; greater than those of older ones
  std::string name;         ///< as the repeater was made with
  double interval = 0;      ///< seconds
  double timeConstant = 0;  ///< seconds
  std::int64_t count = 0;   ///< completed runs
  double totalElapsed = 0;  ///< microseconds
  AverageState elapsed;     ///< duration of a run
  AverageState period;      ///< between the starts of consecutive runs
  std::int64_t runningSince = 0;  ///< moment; 0 if it is not running now
  bool isPaused = false;          ///< by setPaused()

  bool operator==(const RepeaterState&) const = default;
};

/// A queue and what it is doing now. What runs, since when and on which thread is known only of items that began while
/// the program's activity was watched.
struct QueueState {
  std::string label;              ///< its name
  std::size_t depth = 0;          ///< items that wait
  std::string item;               ///< the type of the running item, as the compiler names it; empty if none is known
  std::int64_t runningSince = 0;  ///< moment
  std::uint32_t thread = 0;       ///< as in ActivitySpan; 0 if it is not known here

  bool operator==(const QueueState&) const = default;
};

/// A long wait or a long item of the main queue: of 20 microseconds at least.
struct LongestState {
  std::string name;           ///< the repeater that took most of it, otherwise the item's type; empty if there was none
  std::int64_t began = 0;     ///< moment
  std::int64_t duration = 0;  ///< nanoseconds

  bool operator==(const LongestState&) const = default;
};

/// A timer queue that is started.
struct TimerState {
  std::string label;              ///< its name
  std::int64_t usecs = 0;         ///< its period
  std::int64_t runningSince = 0;  ///< moment; known as for queues
  std::uint32_t thread = 0;       ///< likewise

  bool operator==(const TimerState&) const = default;
};

/// The queues and timer queues of a program.
struct QueueStates {
  QueueState main;                 ///< the main queue
  LongestState longestWait;        ///< of the last minute, as far as it was watched
  LongestState longestItem;        ///< likewise
  std::vector<QueueState> serial;  ///< in the order in which they were made
  std::vector<TimerState> timers;  ///< those that are started

  bool operator==(const QueueStates&) const = default;
};

/// A registration with the broadcaster.
struct ListenerState {
  std::string key;           ///< the name that it listens for
  std::string listener;      ///< the class, as the compiler names it
  std::int64_t count = 0;    ///< deliveries
  std::int64_t elapsed = 0;  ///< microseconds

  bool operator==(const ListenerState&) const = default;
};

/// A place in a log through its rotations; initially the beginning of nothing: see LogState.
struct LogPlace {
  std::uint64_t file = 0;    ///< tells a log's files apart
  std::uint64_t offset = 0;  ///< bytes from the beginning of that file

  bool operator==(const LogPlace&) const = default;
};

/// The program's log, and what has been written since a place in it.
struct LogState {
  std::string path;                   ///< empty if the program has no log
  std::optional<std::uint64_t> size;  ///< bytes; std::nullopt if there is no such file now
  std::int64_t archives = 0;          ///< how many rotated files there are
  std::int64_t lines = 0;             ///< written by this process
  std::string text;  ///< what came after the place that was asked for, or its end, from the first whole line
  LogPlace place;    ///< after the text

  bool operator==(const LogState&) const = default;
};

/// One of the program's settings.
struct SettingState {
  std::string key;             ///< the key
  std::optional<Value> value;  ///< if the program shows values

  bool operator==(const SettingState&) const = default;
};

/// A stretch of work of one thread.
struct ActivitySpan {
  /// A repeater's run; an item of the main queue; one turn of the main loop, including what others do in it, such as a
  /// toolkit; an item of a serial queue; an action of a timer queue.
  enum class Kind : std::uint8_t { REPEATER, MAIN_ITEM, MAIN_LOOP, QUEUE_ITEM, TIMER };
  static constexpr std::size_t KINDS = 5;  ///< how many there are

  Kind kind = Kind::MAIN_LOOP;  ///< what it is of
  std::uint32_t thread = 0;     ///< numbers the threads of the process that did something, from 1
  std::int64_t start = 0;       ///< moment
  std::int64_t end = 0;         ///< moment; 0 if it has not ended
  std::int64_t waited = 0;      ///< nanoseconds in the queue before it began, if that is known
  std::string name;  ///< the repeater, queue or timer, or the type of the main queue's item; empty for the loop
  std::string item;  ///< of an item of a serial queue: its type

  /// Whether it is of what runs on the main queue's thread.
  bool isOnMainThread() const { return kind != Kind::QUEUE_ITEM && kind != Kind::TIMER; }

  bool operator==(const ActivitySpan&) const = default;
};

/// Spans of a program in the order of their ends, and then those that have not ended.
struct Recording {
  std::vector<ActivitySpan> spans;  ///< by their ends
  std::uint64_t lost = 0;           ///< about how many spans of that time were overwritten by later ones

  bool operator==(const Recording&) const = default;
};

/// Spans that took long, since an earlier call.
struct LongSpans {
  std::vector<ActivitySpan> spans;  ///< by their ends
  std::uint64_t next = 0;           ///< pass it to the next call
  std::uint64_t lost = 0;           ///< spans that were overwritten before they could be looked at

  bool operator==(const LongSpans&) const = default;
};

/// A running program that can be looked at: this process's own (see Diagnostics in corvane/infra/Diagnostics.h), or
/// another one through a connection.
///
/// Any thread. Calls to another process block, for at most 5 s; once it has ended or dropped the connection they fail
/// with the domain "posix" and the code ENOTCONN. A call that the program does not allow fails with EPERM, one about a
/// repeater that does not exist with ENOENT, an argument out of range with EINVAL.
class Inspectable {
 public:
  virtual ~Inspectable() = default;

  virtual Result<ProgramIdentity> identity() = 0;              ///< who it is
  virtual Result<std::vector<RepeaterState>> repeaters() = 0;  ///< those of RepeaterState
  virtual Result<QueueStates> queues() = 0;                    ///< as they are now
  virtual Result<std::vector<ListenerState>> listeners() = 0;  ///< in the order of broadcasterStats()

  /// The log, with at most the last `limit` bytes of what was written since `after`; those of the file's end if `after`
  /// is LogPlace().
  virtual Result<LogState> log(const LogPlace& after, std::size_t limit) = 0;

  virtual Result<std::vector<SettingState>> settings() = 0;  ///< of the program's own domain, sorted by key

  /// Records activity for as long as the result lives; through a connection, until that ends, which the result keeps.
  /// Otherwise no spans are noted, and queues() tells only how many items wait.
  virtual Result<std::shared_ptr<void>> watch() = 0;

  /// The spans that ended in the last `seconds`, as far as they were recorded, and those that have not ended.
  virtual Result<Recording> recording(double seconds) = 0;

  /// Spans of at least `nsec` on the main thread that ended since an earlier call (0: from now on) and have no part
  /// among them that took as long itself; and those that go on now and have already taken as long, which come again.
  virtual Result<LongSpans> longSpans(std::uint64_t since, std::int64_t nsec) = 0;

  /// Resets the statistics of all repeaters.
  virtual Result<void> resetStats() = 0;
  /// Sets the time constant of all repeaters, in seconds: positive and finite.
  virtual Result<void> setTimeConstant(double seconds) = 0;
  /// Stops a repeater, or starts it again with fresh statistics. A paused one that the program itself starts again is
  /// not paused any more; one that the program destroys is gone.
  virtual Result<void> setPaused(std::uint64_t id, bool paused) = 0;
};

/// Lets other processes of the same user look into this one, and finds and reaches them. Any thread.
///
/// On Linux: D-Bus from peer to peer on the socket $XDG_RUNTIME_DIR/corvane/PID, or, without that variable,
/// corvane-UID/PID in the temporary folder. The folder must be a real one, this user's own, with the mode 0700:
/// otherwise every call fails with EACCES. Both sides let in only processes of the same effective user, as the kernel
/// tells it: root has no privilege here. No bus is needed; any D-Bus tool can look in. The interface is described in
/// share/dbus-1/interfaces/org.corvane.Diagnostics1.xml.
///
/// What others do costs a program at most a fifth of a core, on one thread: it serves 16 of them at most, rests four
/// times as long as it has worked, and drops who does not take an answer within 5 s or sends what is no D-Bus.
///
/// @feature Looking into programs: `Diagnostics`, `Inspectable`.
/// @needs `$XDG_RUNTIME_DIR`, or else the temporary folder; no bus.
/// @without Nobody can look in.
class DiagnosticsPort {
 public:
  virtual ~DiagnosticsPort() = default;

  /// Serves what `program` shows until the result is destroyed, on a thread of its own; the destruction waits for the
  /// call that is being answered. EADDRINUSE if this process serves already. A forked child serves nobody, until it
  /// calls this itself.
  virtual Result<std::shared_ptr<void>> open(std::shared_ptr<Inspectable> program) = 0;

  /// The ids of the processes that can be looked at, sorted, without this one. What dead ones have left behind is
  /// removed.
  virtual Result<std::vector<std::int32_t>> programs() = 0;

  /// Connects to a process. ENOENT if it cannot be looked at, EACCES if it is another user's, EUSERS if too many others
  /// look into it, EPROTO if its version of the protocol is not understood.
  virtual Result<std::shared_ptr<Inspectable>> connect(std::int32_t pid) = 0;
};

template <>
CORVANE_API std::shared_ptr<DiagnosticsPort> makeService<DiagnosticsPort>();

}  // namespace corvane
