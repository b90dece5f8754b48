#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "corvane/linux/Deadline.h"
#include "corvane/linux/bus/AssertionKinds.h"
#include "corvane/linux/bus/BusLink.h"
#include "corvane/platform/Result.h"

namespace corvane {

struct SessionService;

/// An inhibitor that a service of the desktop session holds for this process, until it is released or the connection
/// ends.
struct SessionInhibitor {
  std::shared_ptr<const Bus> bus;
  const SessionService* service = nullptr;
  std::uint32_t cookie = 0;

  /// Ends it, without waiting.
  void release() const;

  /// False if the connection has ended.
  bool isInForce() const;

  /// Whether listSession() reports it, too.
  bool isListed() const;
};

/// Asks the session's services in turn for an inhibitor. Each gets its share of the time that is left, so that one that
/// hangs does not spoil it for the next. Any thread.
Result<SessionInhibitor> takeSessionInhibitor(BusLink& session, const AssertionKind& kind, const std::string& who,
                                              const std::string& why, const Deadline& deadline);

/// An inhibitor as the GNOME session manager lists it.
struct ListedInhibitor {
  std::int32_t pid = 0;  ///< the session manager's, if it does not know the application's
  std::string who;       ///< an application identifier
  std::string why;
  bool display = false;  ///< keeps the display on
  bool system = false;   ///< keeps the system running
};

struct SessionList {
  std::int32_t manager = 0;  ///< the process that lists them, and that holds one lock in the login manager for them all
  std::vector<ListedInhibitor> inhibitors;
};

/// All that the GNOME session manager holds: those that it reports in time. Any thread.
Result<SessionList> listSession(BusLink& session, const Deadline& deadline);

}  // namespace corvane
