#pragma once

#include <functional>
#include <map>
#include <string_view>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/PowerEvents.h"

namespace corvane {

/// Power events emitted by a test.
class CORVANE_API FakePowerEvents : public PowerEvents {
 public:
  Token subscribe(Listener listener, std::function<void(const Error&)> unavailable) override;
  void unsubscribe(Token token) override;

  /// Calls every listener with the named event, on the calling thread.
  void announce(std::string_view name);

  /// Reports to every subscriber that a source of events is missing.
  void fail(const Error& error);

  std::size_t subscribers() const;  ///< how many there are now

 private:
  struct Subscriber {
    Listener listener;
    std::function<void(const Error&)> unavailable;
  };
  std::map<Token, Subscriber> snapshot() const;

  mutable Mutex m_mutex;
  std::map<Token, Subscriber> m_subscribers CORVANE_GUARDED_BY(m_mutex);
  Token m_lastToken CORVANE_GUARDED_BY(m_mutex) = 0;
};

}  // namespace corvane
