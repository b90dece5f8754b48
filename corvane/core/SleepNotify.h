#pragma once

#include <functional>

#include "corvane/platform/Export.h"
#include "corvane/platform/PowerEvents.h"

namespace corvane {

/// Calls a listener when the system or the screens go to sleep or wake: once for each event, with one of the four names
/// in corvane/platform/PowerEvents.h.
///
/// The listener runs on the main queue. While it handles WILL_SLEEP the system waits (on Linux for at most the limit
/// set by the login manager, 5 s by default). If the machine has no source for a kind of event, one line goes to the
/// log, "SleepNotify: " and the reason, and no such events arrive.
class CORVANE_API SleepNotify {
 public:
  using Listener = std::function<void(const Notification&)>;  ///< is given the event that has occurred

  /// Starts listening.
  explicit SleepNotify(Listener listener);

  /// Deregisters.
  ~SleepNotify();

  SleepNotify(const SleepNotify&) = delete;
  SleepNotify& operator=(const SleepNotify&) = delete;

  /// Stops listening; calling it again is harmless. If called on the main queue, the listener is not called any more.
  /// If called on another thread, a call that has begun may still be running. Never waits.
  void deregister();

  /// Called by the platform: passes on a notification that has one of the four names and ignores any other.
  void sleepListenerWithANotification(const Notification& notification) const { deliver(m_notifier, notification); }

 private:
  static void deliver(const Listener& listener, const Notification& notification);

  const Listener m_notifier;
  PowerEvents* m_events;
  PowerEvents::Token m_token;
};

}  // namespace corvane
