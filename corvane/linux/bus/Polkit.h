#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/bus/BusLink.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// How polkit refuses a right: the code of an Error with the domain "polkit". Errors with another domain tell why there
/// is no answer; they too mean that nothing was granted.
enum class PolkitRefusal : std::uint8_t {
  DENIED = 1,     ///< whatever a person would say; or the person could not prove who they are
  CHALLENGE = 2,  ///< a person would have to be asked, but that was not wanted or there is no agent that asks
  DISMISSED = 3,  ///< the person closed the question
};

/// Whose right polkit is asked about.
class PolkitSubject {
 public:
  static PolkitSubject thisProcess() { return {}; }

  /// The process at the other end of a connection to the system bus. It must be given by its unique name (":1.42"),
  /// which is never used again; of another name no right is granted.
  static PolkitSubject connection(std::string uniqueName);

  /// "(sa{sv})", a floating reference; an Error if there is no such subject.
  Result<GVariant*> variant() const;

 private:
  std::optional<std::string> m_connection;
};

/// A question to polkit.
struct PolkitQuestion {
  PolkitSubject subject;
  std::string action;
  /// For rules and for the person's prompt. polkit takes them only from root and from the action's owner.
  std::map<std::string, std::string> details = {};
  /// A person may be asked, for as long as it takes; otherwise the answer comes within 5 s.
  bool mayAsk = false;

  /// A right that no action declares, asked for as the library's generic action: rules see the right as the detail
  /// "right". `message` is what a person reads; it must not contain a stranger's text.
  static PolkitQuestion generic(PolkitSubject subject, const std::string& right, const std::string& message,
                                bool mayAsk);
};

/// Asks polkit. Without polkit every answer is an Error. Any thread, except for what says otherwise.
class Polkit {
 public:
  /// Whether a file declares the action.
  Result<bool> isDeclared(const std::string& action);

  /// Waits for the answer; success means granted.
  Result<void> check(const PolkitQuestion& question);

  /// The same on this connection without waiting: `done` is called on the thread-default context of this thread, which
  /// must be iterated until then.
  static void isDeclaredLater(const Bus& bus, const std::string& action,
                              std::function<void(const Result<bool>& declared)> done);
  static void checkLater(const Bus& bus, const PolkitQuestion& question,
                         std::function<void(const Result<void>& granted)> done);

 private:
  BusLink m_link{G_BUS_TYPE_SYSTEM};
};

}  // namespace corvane
