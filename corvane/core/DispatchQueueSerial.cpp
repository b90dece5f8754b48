#include "corvane/core/DispatchQueueSerial.h"

#include <time.h>

#include "corvane/core/Log.h"
#include "corvane/core/fatal.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {
void logRefusal(const std::string& label) {
  logNotice("The system refuses a thread for the queue " + label);
}
}  // namespace

DispatchQueueSerial::DispatchQueueSerial(std::string label, QoS qos)
    : m_dispatch(platform().serialQueues().make(label, qos)), m_label(std::move(label)) {}

DispatchQueueSerial::~DispatchQueueSerial() = default;

SerialQueue& DispatchQueueSerial::dqueue() {
  if (!m_dispatch) fatal("DispatchQueueSerial: there is no queue");
  return *m_dispatch;
}

bool DispatchQueueSerial::async(std::function<void()> work) {
  Submission& submission = m_submission();
  if (submission.isSync.load(std::memory_order_relaxed)) MutexLock wait(submission.mutex);
  if (dqueue().async(std::move(work))) return true;
  logRefusal(m_label);
  return false;
}

void DispatchQueueSerial::insist(std::function<void()> work) {
  if (dqueue().async(std::move(work))) return;
  logRefusal(m_label);
  constexpr timespec PAUSE{0, 10'000'000};
  do nanosleep(&PAUSE, nullptr);
  while (!dqueue().async(std::move(work)));
}

Delayed DispatchQueueSerial::after(double seconds, std::function<void()> work) {
  return {seconds, std::move(work), [weak = std::weak_ptr(m_dispatch), label = m_label](std::function<void()> due) {
            if (const auto queue = weak.lock(); queue && !queue->async(std::move(due))) logRefusal(label);
          }};
}

}  // namespace corvane
