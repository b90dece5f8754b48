#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Lets Corvane Inspector and other programs of the same user look into this one while it runs: its repeaters, its main
/// queue and what holds it up, its other queues and timers, its listeners, its log and its settings.
///
///     corvane::Diagnostics::start();                                // they may look
///     corvane::Diagnostics::start(corvane::Diagnostics::Control);   // and pause repeaters
///
/// A program that does not call start() opens nothing, has no thread more, and pays one branch for each run of a
/// repeater or item of a queue. The CMake function corvane_application makes the call for a program with its option
/// DIAGNOSTICS. No environment variable switches it on.
///
/// Started, but with nobody looking, a program has one thread more, which sleeps. Someone who looks is served by that
/// thread; the main thread waits at most for the copy of the statistics. Nobody but the same user, not even root, can
/// look in (see corvane/platform/DiagnosticsPort.h).
///
/// The program can also record its own activity, with or without start(), and keep it when it has noticed a fault:
///
///     corvane::Diagnostics::record(30);
///     …
///     if (frame > limit) corvane::replaceFile("stutter.json", corvane::Diagnostics::trace());
///
/// Every member: any thread. A forked child begins without all of this.
class CORVANE_API Diagnostics {
 public:
  /// What others may do beyond looking.
  enum Permissions : std::uint8_t {
    LookOnly = 0,
    Control = 1U << 0U,        ///< reset statistics, set the time constant, pause repeaters and let them run again
    SettingValues = 1U << 1U,  ///< read the values of settings, which may be secrets; otherwise only their keys
  };
  friend constexpr Permissions operator|(Permissions a, Permissions b) {
    return static_cast<Permissions>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
  }

  /// Lets others look into this program from now on. If they may already, only the permissions change, at once and for
  /// all who look. An Error if nothing could be opened, for example because there is no room for the socket.
  static Result<void> start(Permissions permissions = LookOnly);

  /// Disconnects all who look and lets nobody in any more. Does nothing if they could not. exit() does the same.
  static void stop();

  /// Records the program's activity from now on, and sets how many seconds trace() goes back; 0 ends the recording. An
  /// Error, with no change, if the number is negative or not finite.
  ///
  /// The recording is a ring of fixed size (about 130,000 runs, items and turns of the main loop): a busy program has
  /// fewer seconds in it. Each of them costs about a tenth of a microsecond, and the ring up to 16 MiB.
  static Result<void> record(double seconds);

  /// What was recorded in the last seconds, in the trace-event format (see corvane/infra/Trace.h); without events if
  /// nothing is being recorded.
  static std::string trace();

  /// This program as others see it that may do everything, whether or not they may.
  static std::shared_ptr<Inspectable> program();
};

}  // namespace corvane
