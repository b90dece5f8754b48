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
/// For work that comes in pieces. For a task that recurs take a Repeater, which runs on the main queue, or a
/// TimerQueue, which keeps a fixed cadence off it; for one loop that lasts, a PThread.
///
/// Queues are cheap: one without work owns no thread, and one whose work blocks keeps no other from running. Work must
/// not throw. Any thread may submit; but while one is inside sync(), every other submission waits for it, so work that
/// sync() waits for must not submit to its own queue. A forked child may use the queues that it inherits: what was
/// queued before runs in the parent only.
class CORVANE_API DispatchQueueSerial {
 public:
  DispatchQueueSerial(std::string label, QoS qos);

  /// Does not wait: work already queued still runs.
  ~DispatchQueueSerial();

  DispatchQueueSerial(const DispatchQueueSerial&) = delete;
  DispatchQueueSerial& operator=(const DispatchQueueSerial&) = delete;

  const std::string& label() const { return m_label; }

  /// The platform's queue underneath: submitting there takes no lock of this object. Fatal if there is none.
  SerialQueue& dqueue();

  /// Runs `work` on the queue and returns when it has run. As long as the system refuses a thread for it, this waits
  /// and tries again, after one line in the log.
  template <class Work>
  void sync(Work&& work) {
    Submission& submission = m_submission();
    MutexLock lock(submission.mutex);
    submission.isSync.store(true, std::memory_order_relaxed);
    submitAndWait([this](std::function<void()> item) { insist(std::move(item)); }, work);
    submission.isSync.store(false, std::memory_order_relaxed);
  }

  /// Queues `work` and returns. False, after one line in the log, if the queue has no thread and the system refuses
  /// another one: then `work` never runs.
  bool async(std::function<void()> work);

  /// Runs `work` once on the queue, `seconds` from now, unless the handle cancels it. Work whose queue is gone by then
  /// is dropped; so is, after one line in the log, work for which the system refuses a thread.
  Delayed after(double seconds, std::function<void()> work);

 private:
  struct Submission {
    Mutex mutex;
    std::atomic<bool> isSync = false;  // somebody is inside sync(): only then does async() take the lock
  };

  void insist(std::function<void()> work);

  // On a cache line of their own: where the work writes beside the queue, each submission would wait for the line.
  alignas(64) std::shared_ptr<SerialQueue> m_dispatch;
  std::string m_label;
  PerProcess<Submission> m_submission;
};

}  // namespace corvane
