#pragma once

#include <functional>

#include "corvane/platform/Export.h"
#include "corvane/platform/PowerEvents.h"

namespace corvane {

/// Calls a listener when the system goes to sleep or wakes and when the screens do: one call with one of the four
/// names of corvane/platform/PowerEvents.h for each event.
///
/// The listener runs on the main queue. While it runs for WILL_SLEEP the system waits (on Linux for at most the limit
/// that the login manager sets, 5 s unless configured). A machine without a source of one kind of event gets one line
/// in the log, "SleepNotify: " and the reason, and no such events.
class CORVANE_API SleepNotify {
 public:
  using Listener = std::function<void(const Notification&)>;

  /// Listens from now on.
  explicit SleepNotify(Listener listener);

  /// Deregisters.
  ~SleepNotify();

  SleepNotify(const SleepNotify&) = delete;
  SleepNotify& operator=(const SleepNotify&) = delete;

  /// Stops listening; again is harmless. Called on the main queue, the listener is not called any more; from another
  /// thread, a call that has begun may still be running. Never waits.
  void deregister();

  /// What the platform calls: passes on a notification that has one of the four names, ignores any other.
  void sleepListenerWithANotification(const Notification& notification) const { deliver(m_notifier, notification); }

 private:
  static void deliver(const Listener& listener, const Notification& notification);

  const Listener m_notifier;
  PowerEvents* m_events;
  PowerEvents::Token m_token;
};

}  // namespace corvane
