#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/PowerManager.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Keeps the machine or its display awake while the application needs it, keeps the system from slowing the application
/// down, and lists who keeps the machine awake.
///
///     const auto power = corvane::PowerAssertion::instance();
///     power->setReason("Rendering");
///     if (power->prevent("PreventUserIdleSystemSleep") == 0) …
///     power->allow("PreventUserIdleSystemSleep");
///
/// Which type to choose: "PreventUserIdleDisplaySleep" for what the user watches, "PreventUserIdleSystemSleep" for work
/// that takes a while, "PreventSystemSleep" for work that not even the user's own wish may interrupt. The other types
/// are older names: "NoDisplaySleepAssertion" for the first, "NoIdleSleepAssertion" and "NetworkClientActive" for the
/// second. corvane/platform/PowerManager.h says what each asks of which service on Linux, and what that prevents.
///
/// What an instance holds stays in force when the instance is destroyed, and ends with the process at the latest.
///
/// prevent() waits for other processes, usually for a millisecond, and for 5 s if one hangs; a list for at most 1 s.
/// The other members never wait. hasAssertions() and the static members are for any thread, the others for one at a
/// time.
class CORVANE_API PowerAssertion {
 public:
  /// The types that the system-wide lists report.
  static constexpr std::array<std::string_view, 6> TYPES = {"PreventUserIdleDisplaySleep", "PreventUserIdleSystemSleep",
                                                            "PreventSystemSleep",          "NoIdleSleepAssertion",
                                                            "NoDisplaySleepAssertion",     "NetworkClientActive"};

  /// The shared object, created on first use. Any thread.
  static std::shared_ptr<PowerAssertion> instance();
  /// Replaces it; with null the next instance() creates a new one. What the previous one holds stays in force.
  static void setInstance(std::shared_ptr<PowerAssertion> assertion);

  /// Why the machine is kept awake, for people: systems show it. It counts for the assertions and activities that begin
  /// from now on. At first empty, which Linux does not accept for an assertion.
  std::string reason() const { return m_reason; }
  void setReason(std::string reason) { m_reason = std::move(reason); }

  /// Whether this instance holds any assertion.
  bool hasAssertions() const;

  /// Whether the system may slow the application down while it seems to have nothing to do. Setting it to false begins
  /// an activity with the reason, setting it to true ends that activity. PowerManager::beginActivity() says what that
  /// means on Linux.
  bool isNapAllowed() const { return !m_activity; }
  void setIsNapAllowed(bool allowed);

  /// Takes an assertion of this type. Returns 0; or a code, and then nothing is held: an errno value, listed in
  /// corvane/platform/PowerManager.h (on Linux EINVAL for an unknown type, EACCES if the services refuse, ENOTSUP if
  /// there are none, and so on), with one line in the log.
  ///
  /// An instance holds one assertion of each type that allow() ends. If prevent() is called twice for a type, the first
  /// assertion stays in force until the process ends.
  std::int32_t prevent(const std::string& type);

  /// Ends the assertion of this type; does nothing if none is held.
  void allow(const std::string& type);

  /// Ends the assertions of all types.
  void allowAll();

  /// The assertions of the whole system that are of one of the TYPES, in any order; or why the system does not list
  /// them.
  static Result<std::vector<AssertionRecord>> records();

  /// Calls `body` with each of the records(), as (std::int32_t pid, const std::optional<std::string>& process name,
  /// const std::optional<std::string>& assertion name, const std::string& type); not at all, with one line in the log,
  /// if the system does not list them.
  template <class Body>
  static void iterateassertions(Body&& body) {
    for (const AssertionRecord& record : recordsOrNone()) body(record.pid, record.process, record.name, record.type);
  }

  /// The types that each process holds, by pid; std::nullopt if there is no assertion.
  static std::optional<std::map<std::int32_t, std::set<std::string>>> pidassertions();

  /// True for each process that holds an assertion, by pid; std::nullopt if there is none.
  static std::optional<std::map<std::int32_t, bool>> assertions();

 private:
  static std::vector<AssertionRecord> recordsOrNone();

  std::optional<std::uint64_t> m_activity;
  std::string m_reason;
  mutable Mutex m_mutex;
  std::map<std::string, std::uint32_t> m_sleepAssertionID CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
