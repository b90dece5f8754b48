#include "corvane/core/DispatchQueueSerial.h"

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

void DispatchQueueSerial::async(std::function<void()> work) {
  MutexLock lock(m_mutex);
  dqueue().async(std::move(work));
}

}  // namespace corvane
