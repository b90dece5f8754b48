#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "corvane/core/Completion.h"
#include "corvane/core/Delayed.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/PerProcess.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/SerialQueues.h"

namespace corvane {

/// A named queue that runs its work one item at a time, in the order of submission, off the main queue.
///
/// **Which one to choose.** A DispatchQueueSerial for work that comes in pieces and is to be done now, off the main
/// queue. A Repeater for periodic work on the main queue. A TimerQueue for a fixed cadence off the main queue.
/// main_after() and after() for work that runs once, later. A PThread for a long-running loop of your own.
///
/// Queues are cheap: a queue without work owns no thread, and a queue whose work blocks does not hold up the others.
/// Work must not throw. Any thread may submit work. While one thread is inside sync(), every other submission waits for
/// it, so work that sync() waits for must not submit to its own queue. A forked child may use the queues that it
/// inherits; work queued before the fork runs in the parent only.
class CORVANE_API DispatchQueueSerial {
 public:
  /// A queue whose threads are named by the label and have the niceness of the quality of service.
  DispatchQueueSerial(std::string label, QoS qos);

  /// Does not wait; work already queued still runs.
  ~DispatchQueueSerial();

  DispatchQueueSerial(const DispatchQueueSerial&) = delete;
  DispatchQueueSerial& operator=(const DispatchQueueSerial&) = delete;

  /// The name that it was made with.
  const std::string& label() const { return m_label; }

  /// The underlying queue of the platform. Submitting to it takes no lock of this object. Fatal if there is none.
  SerialQueue& dqueue();

  /// Runs `work` on the queue and returns when it has run. If the system refuses a thread, this logs one line, waits
  /// and tries again until it gets one.
  template <class Work>
  void sync(Work&& work) {
    Submission& submission = m_submission();
    MutexLock lock(submission.mutex);
    submission.isSync.store(true, std::memory_order_relaxed);
    submitAndWait([this](std::function<void()> item) { insist(std::move(item)); }, work);
    submission.isSync.store(false, std::memory_order_relaxed);
  }

  /// Queues `work` and returns. If the queue has no thread and the system refuses one, this logs one line and returns
  /// false, and `work` never runs.
  bool async(std::function<void()> work);

  /// Runs `work` once on the queue, `seconds` from now, unless it is cancelled through the handle. The work is dropped
  /// if the queue no longer exists by then, or, with one line in the log, if the system refuses a thread.
  Delayed after(double seconds, std::function<void()> work);

 private:
  struct Submission {
    Mutex mutex;
    std::atomic<bool> isSync = false;  // a thread is inside sync(): only then does async() take the lock
  };

  void insist(std::function<void()> work);

  // On a cache line of its own: if the work writes to memory next to the queue, each submission would wait for the
  // line.
  alignas(64) std::shared_ptr<SerialQueue> m_dispatch;
  std::string m_label;
  PerProcess<Submission> m_submission;
};

}  // namespace corvane
