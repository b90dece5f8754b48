#include "corvane/core/SleepNotify.h"

#include <algorithm>
#include <array>

#include "corvane/core/Log.h"
#include "corvane/platform/Platform.h"

namespace corvane {

// The platform's copy of the listener does not refer to this object, which may be destroyed during a call.
SleepNotify::SleepNotify(Listener listener)
    : m_notifier(std::move(listener)),
      m_events(&platform().powerEvents()),
      m_token(m_events->subscribe(
          [notifier = m_notifier](const Notification& notification) { deliver(notifier, notification); },
          [](const Error& error) { logNotice("SleepNotify: " + error.description); })) {}

SleepNotify::~SleepNotify() {
  deregister();
}

void SleepNotify::deregister() {
  m_events->unsubscribe(m_token);
}

void SleepNotify::deliver(const Listener& listener, const Notification& notification) {
  static constexpr std::array names = {WILL_SLEEP, SCREENS_DID_SLEEP, DID_WAKE, SCREENS_DID_WAKE};
  if (std::ranges::find(names, notification.name) != names.end()) listener(notification);
}

}  // namespace corvane
