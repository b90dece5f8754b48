#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// An assertion that a process of this machine holds.
struct AssertionRecord {
  std::int32_t pid = 0;                ///< the process that holds it
  std::optional<std::string> process;  ///< the name of the process, as far as the system reports it
  std::optional<std::string> name;     ///< the reason that it gave
  std::string type;                    ///< empty if the system reports none

  bool operator==(const AssertionRecord&) const = default;
};

/// Keeps the machine awake, and knows who else does. Any thread. Everything belongs to the process, not to the caller:
/// what is neither released nor ended stays in force until the process ends, however it ends.
///
/// **Failures.** Error::code is an errno value:
///
/// | code | meaning |
/// |---|---|
/// | EINVAL | the type is unknown, or the reason is empty |
/// | EILSEQ | the reason is not UTF-8, or contains U+0000 |
/// | EMSGSIZE | the reason has more than MAX_REASON bytes |
/// | EACCES | every service that could be asked refuses |
/// | ENOTSUP | nobody can be asked: no bus, no service, or a child that was forked after the first call |
/// | ETIMEDOUT | no answer within 5 s in all (1 s for a list) |
/// | ECONNRESET | the service ended before it answered |
/// | EAGAIN | the service has no room for more |
/// | EMFILE | this process has too many open descriptors |
///
/// **On Linux** the services are the login manager (logind) and those of the desktop session:
///
/// | type | logind lock | GNOME session manager, flag | other sessions |
/// |---|---|---|---|
/// | PreventUserIdleDisplaySleep, NoDisplaySleepAssertion | idle | 8 (idle) | org.freedesktop.ScreenSaver |
/// | PreventUserIdleSystemSleep, NoIdleSleepAssertion | idle | 4 (suspend) | org.freedesktop.PowerManagement |
/// | NetworkClientActive | idle | 4 (suspend) | org.freedesktop.PowerManagement |
/// | PreventSystemSleep | sleep | 4 (suspend) | org.freedesktop.PowerManagement |
///
/// Both are asked at once, and one that agrees is enough. No service is started by asking. logind lets anybody hold an
/// idle lock, but a sleep lock only root and users with a local session. What they promise:
///
/// - A sleep lock stops the suspend that another user asks for, and that a desktop or a newer logind asks for after a
///   look at the locks. logind 252 still obeys root and the holder's own user. Closing the lid is not covered.
/// - An idle lock stops logind's own idle action and the desktops that look at it (KDE); GNOME looks only at the
///   inhibitors of its session manager.
/// - A process that was forked from the holder and has not executed a program shares the logind lock: it stays in force
///   until both have ended or closed it. Executed programs do not inherit it.
/// - What only a session service holds ends with that service or with the session bus.
///
/// @feature Keeping awake: `PowerAssertion`.
/// @needs logind (`systemd`), or a GNOME session manager, or the screen saver and power services of another session.
/// @without Asserting fails, with a line in the log.
class PowerManager {
 public:
  /// The longest reason, in bytes. It is shown to people, and every list of assertions carries it.
  static constexpr std::size_t MAX_REASON = 4096;

  virtual ~PowerManager() = default;

  /// Creates an assertion and returns its id, which is never 0; in force until release().
  virtual Result<std::uint32_t> create(const std::string& type, const std::string& reason) = 0;

  /// Ends an assertion, whoever created it in this process; other ids are ignored. Does not wait.
  virtual void release(std::uint32_t id) = 0;

  /// The assertions of the whole system, of any type, in any order.
  ///
  /// On Linux: what logind and the GNOME session manager report, and what only this process knows because the other
  /// session services keep no list. Locks that only delay something, and those on other actions, are no assertions.
  /// An idle lock of another kind of program reads as PreventUserIdleSystemSleep, a sleep lock as PreventSystemSleep.
  /// The pid is the holder's as reported; for a GNOME inhibitor whose process GNOME does not know, it is that of the
  /// session manager. Answers within 1 s: if a service hangs, with the records of the others.
  virtual Result<std::vector<AssertionRecord>> assertions() = 0;

  /// Begins an activity that the system must not slow down; its token, never 0, is for endActivity(). Never fails.
  /// `options` are those of the documented platform and have no meaning elsewhere.
  ///
  /// On Linux no application is slowed down of the system's own accord. What it does to all of them is to let a timed
  /// wait (sleep, poll, timed lock) end up to 50 us late, so that timers can be bundled. While there is any activity,
  /// that timer slack is 1 ns for the thread of the main queue, and for threads that it starts in that time, which keep
  /// it. Threads that run already are not reached: Linux lets an ordinary process set only its own thread's slack.
  /// Called on another thread, this takes effect when the main loop gets to it. At the end of the last activity the
  /// main thread gets back the slack that it had.
  virtual std::uint64_t beginActivity(std::uint64_t options, const std::string& reason) = 0;

  /// Ends an activity; unknown tokens are ignored.
  virtual void endActivity(std::uint64_t token) = 0;
};

template <>
CORVANE_API std::shared_ptr<PowerManager> makeService<PowerManager>();

}  // namespace corvane
