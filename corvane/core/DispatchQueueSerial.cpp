#include "corvane/core/DispatchQueueSerial.h"

#include <time.h>

#include "corvane/core/Log.h"
#include "corvane/core/fatal.h"
#include "corvane/platform/Platform.h"

namespace corvane {

DispatchQueueSerial::DispatchQueueSerial(std::string label, QoS qos)
    : m_dispatch(platform().serialQueues().make(label, qos)), m_label(std::move(label)) {}

DispatchQueueSerial::~DispatchQueueSerial() {
  MutexLock lock(m_mutex);
  m_dispatch.reset();
}

SerialQueue& DispatchQueueSerial::dqueue() {
  if (!m_dispatch) fatal("DispatchQueueSerial: there is no queue");
  return *m_dispatch;
}

bool DispatchQueueSerial::async(std::function<void()> work) {
  {
    MutexLock lock(m_mutex);
    if (dqueue().async(std::move(work))) return true;
  }
  logRefusal();
  return false;
}

void DispatchQueueSerial::insist(std::function<void()> work) {
  if (dqueue().async(std::move(work))) return;
  logRefusal();
  constexpr timespec PAUSE{0, 10'000'000};
  do nanosleep(&PAUSE, nullptr);
  while (!dqueue().async(std::move(work)));
}

void DispatchQueueSerial::logRefusal() const {
  logNotice("The system refuses a thread for the queue " + m_label);
}

Delayed DispatchQueueSerial::after(double seconds, std::function<void()> work) {
  return {seconds, std::move(work), [weak = std::weak_ptr(m_dispatch)](std::function<void()> due) {
            if (const auto queue = weak.lock()) queue->async(std::move(due));
          }};
}

}  // namespace corvane
