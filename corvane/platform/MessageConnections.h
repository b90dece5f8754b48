#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Message.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/SerialQueues.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// What happens on a connection besides replies.
enum class ConnectionEvent : std::uint8_t {
  INTERRUPTED,  ///< the other side's process has ended; a later request would start it anew
  INVALID,      ///< the connection has ended for good, or there is nobody to connect to
  ERROR,        ///< anything else that went wrong
  MESSAGE,      ///< the other side sent something unasked
};

/// A connection to a privileged helper. Any thread.
class MessageConnection {
 public:
  virtual ~MessageConnection() = default;

  /// Called once, on the reply queue, with the reply or with a Message that holds a MessageError. May be called after
  /// the connection was destroyed.
  using Reply = std::function<void(const Message& reply)>;

  /// Sends a dictionary and returns without waiting for the reply, for which there is no time limit. A person may be
  /// asked for the right that it needs. Requests beyond the number that the system keeps track of are sent as soon as
  /// others are answered. What cannot be sent is answered with an error, and so is what was sent or waited when the
  /// other side ended.
  virtual void send(const Message& request, Reply reply) = 0;

  /// The process id of the other side; 0 while it does not run.
  virtual std::int32_t peerPid() = 0;

  /// Ends the connection, as its destructor does: what was sent before still reaches the other side, for which this
  /// waits at most 5 s; replies that are missing are answered with INVALID errors. No events follow.
  virtual void cancel() = 0;
};

/// Connects to privileged helpers. Any thread.
///
/// On Linux: the system bus. A helper is the owner of the bus name that is its label, and must be root's; the bus
/// starts it on the first request.
///
/// @feature Talking to helpers: `XPC`.
/// @needs The system bus (`dbus-daemon` or `dbus-broker`).
/// @without Each request is answered with an error.
class MessageConnections {
 public:
  virtual ~MessageConnections() = default;

  /// Connects within 5 s; does not start the helper. An Error also if the name belongs to somebody else. Events and
  /// replies arrive on these queues, which must outlive the connection; handlers may use and destroy the connection.
  virtual Result<std::unique_ptr<MessageConnection>> connect(const std::string& label, SerialQueue& events,
                                                             SerialQueue& replies,
                                                             std::function<void(ConnectionEvent)> event) = 0;
};

template <>
CORVANE_API std::shared_ptr<MessageConnections> makeService<MessageConnections>();

}  // namespace corvane
