#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// An event of the system, known by its name.
struct Notification {
  std::string name;  ///< one of those below
};

/// The system is about to sleep; it waits for the listeners, within its own limit.
inline constexpr std::string_view WILL_SLEEP = "NSWorkspaceWillSleepNotification";
/// The screens were switched off or blanked.
inline constexpr std::string_view SCREENS_DID_SLEEP = "NSWorkspaceScreensDidSleepNotification";
/// The system has woken, or the service that announced its sleep has disappeared.
inline constexpr std::string_view DID_WAKE = "NSWorkspaceDidWakeNotification";
/// The screens are on again, or the service that announced that they are off has disappeared.
inline constexpr std::string_view SCREENS_DID_WAKE = "NSWorkspaceScreensDidWakeNotification";

/// Source of the four notifications above.
///
/// @feature Sleep and wake: `SleepNotify`.
/// @needs logind on the system bus (package `systemd`) for the machine; for the screens a GNOME session, a screen
///   saver service of the session, or the screen saver of an X server.
/// @without No such events, and one line in the log for each source that is missing.
class PowerEvents {
 public:
  using Listener = std::function<void(const Notification&)>;  ///< is given the event that has occurred
  using Token = std::uint64_t;                                ///< stands for a subscription

  virtual ~PowerEvents() = default;

  /// Calls `listener` on the main queue with every event from now on. `unavailable` is called on the main queue, once,
  /// for each source of events that this machine lacks. The sources are opened in the background: subscribing never
  /// waits. Any thread.
  virtual Token subscribe(Listener listener, std::function<void(const Error&)> unavailable) = 0;

  /// Ends a subscription; an unknown token is ignored. If called on the main queue, neither function is called any
  /// more. If called on another thread, a call that has begun may still be running.
  virtual void unsubscribe(Token token) = 0;
};

template <>
CORVANE_API std::shared_ptr<PowerEvents> makeService<PowerEvents>();

}  // namespace corvane
