#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// How urgent a queue's work is. On Linux it selects the niceness of the threads that run it: 0 for the first four, 5
/// for UTILITY, 10 for BACKGROUND.
enum class QoS : std::uint8_t { UNSPECIFIED, USER_INTERACTIVE, USER_INITIATED, DEFAULT, UTILITY, BACKGROUND };

/// A queue that runs its items one at a time, in the order in which they were queued, off the main queue. Destroying it
/// does not wait: items already queued still run.
class SerialQueue {
 public:
  virtual ~SerialQueue() = default;

  /// Queues work. False if the queue has no thread and the system refuses another one: then `work` stays untouched and
  /// does not run. Any thread. Work must not throw: an exception that leaves it ends the process.
  ///
  /// A caller that must not begin something without a thread for the rest can queue the rest first and make it wait.
  [[nodiscard]] virtual bool async(std::function<void()>&& work) = 0;
};

/// Makes serial queues. A queue without work owns no thread; a queue whose work blocks does not hold up the others.
///
/// @feature `DispatchQueueSerial`, `TimerQueue`.
/// @needs Nothing.
/// @without If the system refuses a thread, work waits until there is one, after one line in the log.
class SerialQueues {
 public:
  virtual ~SerialQueues() = default;

  /// A new queue; the label names it to debuggers (on Linux it is the name of the thread while it runs the queue).
  virtual std::unique_ptr<SerialQueue> make(std::string label, QoS qos) = 0;

  /// All queues of the process in the order in which they were made, with how many items wait and what runs (as far as
  /// Activity is on): for diagnostics.
  virtual std::vector<QueueState> states() = 0;
};

template <>
CORVANE_API std::shared_ptr<SerialQueues> makeService<SerialQueues>();

}  // namespace corvane
