#pragma once

#include <set>
#include <string>
#include <utility>

#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/helper/service/Operations.h"

namespace corvane {

/// The library's root service on the system bus: takes calls, each on a thread of its own, and ends when there have
/// been none for a while. All members: the thread that made it.
class HelpersService {
 public:
  /// So many calls may wait, of all users and of one user.
  static constexpr std::size_t MAX_CALLS = 8;
  static constexpr std::size_t MAX_CALLS_OF_USER = 2;
  static constexpr guint IDLE_MSEC = 30'000;

  /// The bus must outlive the service.
  explicit HelpersService(const Bus& bus);
  HelpersService(const HelpersService&) = delete;
  HelpersService& operator=(const HelpersService&) = delete;

  /// Serves until there is nothing to do; an Error if it cannot have its name or the bus ends.
  Result<void> run();

 private:
  struct Call;
  void take(GDBusMethodInvocation* invocation);
  void end(const std::pair<guint32, std::string>& key);
  void waitForCalls();

  const Bus& m_bus;
  Operations m_operations;
  const glib::Ptr<GMainLoop> m_loop;
  glib::Ptr<GSource> m_idle;
  bool m_isReleased = false;
  std::multiset<std::pair<guint32, std::string>> m_calls;  // user and label of those that wait
};

}  // namespace corvane
