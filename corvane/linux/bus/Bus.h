#pragma once

#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/linux/Deadline.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// A method on a bus, and how it is called.
struct BusMethod {
  std::string service;  ///< the bus name of who is called
  std::string object;   ///< path
  std::string interface;
  std::string name;
  const char* replyType = "()";  ///< a reply of another type is an Error
  GDBusCallFlags flags = G_DBUS_CALL_FLAGS_NONE;
  std::string trouble = {};  ///< begins the description of an Error
};

/// A signal on a bus, from any object.
struct BusSignal {
  std::string service;  ///< the bus name of who sends it
  std::string interface;
  std::string name;
  const char* type = "()";         ///< of the arguments; a signal with other ones is ignored
  std::string firstArgument = {};  ///< if not empty: only signals that begin with this text
};

/// What a method answered.
struct BusReply {
  glib::Ptr<GVariant> values;
  glib::Ptr<GUnixFDList> descriptors;  ///< that came along; may be null

  /// The caller's own copy of a descriptor, by the handle in the values.
  CORVANE_API FileDescriptor descriptor(gint32 handle) const;
};

/// A connection of the owner's own to a message bus. Its end, and that of the bus, does not end the process.
///
/// Calls block, need no main loop, and may come from any thread, several at a time. An Error of the service has the
/// name of the D-Bus error as its domain, one of the limit the code ETIMEDOUT (see timedOut()). Signals arrive on the
/// thread-default context of the thread that subscribed, and only while that is iterated. After a fork() the connection
/// is of no use in the child.
class CORVANE_API Bus {
 public:
  /// Connects to the bus that the environment names now. No bus is started for it.
  static Result<std::unique_ptr<Bus>> connect(GBusType type, const Deadline& deadline);

  /// Ends all subscriptions and closes the connection, without waiting. On the thread that subscribed; its context
  /// frees the handlers when it is iterated next.
  ~Bus();

  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  /// Calls a method and waits for the answer. Takes `arguments`, a tuple or null for none, over if it is floating. When
  /// the deadline is over already, nothing is sent.
  Result<BusReply> call(const BusMethod& method, GVariant* arguments, const Deadline& deadline) const;

  /// Calls `handler` with the arguments of every such signal from now on.
  void subscribe(const BusSignal& signal, std::function<void(GVariant* arguments)> handler);

  /// Calls `handler` whenever a name changes hands, with the unique name of its new owner, empty if it has none.
  void watchName(const std::string& name, std::function<void(const std::string& owner)> handler);

  /// For what this class does not do, such as offering objects.
  GDBusConnection* connection() const { return m_connection.get(); }

 private:
  explicit Bus(glib::Ptr<GDBusConnection> connection) : m_connection(std::move(connection)) {}

  const glib::Ptr<GDBusConnection> m_connection;
  std::vector<guint> m_subscriptions;
};

}  // namespace corvane
