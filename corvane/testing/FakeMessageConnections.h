#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/MessageConnections.h"

namespace corvane {

/// A helper that answers as a test says and remembers what it was asked. Any thread; set the fields first.
class CORVANE_API FakeMessageConnections : public MessageConnections {
 public:
  std::optional<Error> error;  ///< if set, connections are refused with it
  std::int32_t pid = 4711;     ///< of the helper
  /// The reply to a request, called without a lock on the caller's thread; without one, the request waits for reply()
  /// or the end of its connection.
  std::function<std::optional<Message>(const Message& request)> answer;

  FakeMessageConnections();

  /// The requests so far, and "cancelled" for the end of a connection, in order.
  std::vector<Message> requests() const;

  /// The number of requests that wait for a reply.
  std::size_t waiting() const;

  /// Answers the request that has waited longest. False if none waits.
  bool reply(const Message& reply);

  /// An event on every connection that has not been cancelled.
  void announce(ConnectionEvent event);

  Result<std::unique_ptr<MessageConnection>> connect(const std::string& label, SerialQueue& events,
                                                     SerialQueue& replies,
                                                     std::function<void(ConnectionEvent)> event) override;

 private:
  class Connection;
  struct State;
  const std::shared_ptr<State> m_state;
};

}  // namespace corvane
