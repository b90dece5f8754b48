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

/// A method on a bus, and how to call it.
struct BusMethod {
  std::string service;  ///< the bus name of the callee
  std::string object;   ///< path
  std::string interface;
  std::string name;
  const char* replyType = "()";  ///< a reply of another type is an Error
  GDBusCallFlags flags = G_DBUS_CALL_FLAGS_NONE;
  std::string trouble = {};  ///< prefix of an Error's description
};

/// A method of the bus itself.
inline BusMethod busMethod(const char* name, const char* replyType) {
  return {.service = "org.freedesktop.DBus",
          .object = "/org/freedesktop/DBus",
          .interface = "org.freedesktop.DBus",
          .name = name,
          .replyType = replyType};
}

/// A signal on a bus, from any object.
struct BusSignal {
  std::string service;  ///< the bus name of the sender
  std::string interface;
  std::string name;
  const char* type = "()";         ///< of the arguments; a signal with other ones is ignored
  std::string firstArgument = {};  ///< if not empty: only signals that begin with this text
};

/// The answer of a method.
struct BusReply {
  glib::Ptr<GVariant> values;
  glib::Ptr<GUnixFDList> descriptors;  ///< sent with the answer; may be null

  /// A copy of a descriptor, owned by the caller, for its handle in the values.
  CORVANE_API FileDescriptor descriptor(gint32 handle) const;
};

/// Whether the process can open some more descriptors. GLib ends the process if it gets none to wait with, so look
/// before a context is made.
CORVANE_API bool hasDescriptors();

/// A private connection to a message bus. The process survives the end of the connection or of the bus.
///
/// Calls block, need no main loop, and may come from any thread, several at a time. The domain of an Error from the
/// service is the name of the D-Bus error; a call that exceeds its limit fails with the code ETIMEDOUT (see
/// timedOut()). Signals arrive on the thread-default context of the thread that subscribed, and only while that context
/// is iterated. After a fork() the child must not use the connection.
class CORVANE_API Bus {
 public:
  /// Connects to the bus that the environment currently names. Does not start a bus. A child that was forked after the
  /// first use of a bus cannot connect any more.
  static Result<std::unique_ptr<Bus>> connect(GBusType type, const Deadline& deadline);

  /// Ends all subscriptions and closes the connection, without waiting. Must run on the thread that subscribed; that
  /// thread's context frees the handlers when it is next iterated.
  ~Bus();

  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  /// Calls a method and waits for the answer. `arguments` is a tuple, or null for none; a floating reference is taken
  /// over. `descriptors`, if any, are what handles in them refer to. If the deadline has already passed, nothing is
  /// sent.
  Result<BusReply> call(const BusMethod& method, GVariant* arguments, const Deadline& deadline,
                        GUnixFDList* descriptors = nullptr) const;

  /// The same, and does something else between sending the call and waiting for the answer, such as asking another
  /// service. What arrives in that time counts, even if that takes longer than the deadline.
  Result<BusReply> callWhile(const BusMethod& method, GVariant* arguments, const Deadline& deadline,
                             const std::function<void()>& meanwhile) const;

  /// The same without waiting: `done` is called with the answer on the thread-default context of this thread, which
  /// must be iterated until then.
  void callLater(const BusMethod& method, GVariant* arguments, const Deadline& deadline,
                 std::function<void(Result<BusReply> reply)> done) const;

  /// Calls a method without waiting: nothing tells whether it succeeded. `arguments` as for call().
  void send(const BusMethod& method, GVariant* arguments) const;

  /// Calls `handler` with the arguments of every such signal from now on.
  void subscribe(const BusSignal& signal, std::function<void(GVariant* arguments)> handler);

  /// Calls `handler` whenever the owner of a name changes, with the unique name of the new owner, or empty if there is
  /// none.
  void watchName(const std::string& name, std::function<void(const std::string& owner)> handler);

  /// For features that this class does not cover, such as exporting objects.
  GDBusConnection* connection() const { return m_connection.get(); }

 private:
  explicit Bus(glib::Ptr<GDBusConnection> connection) : m_connection(std::move(connection)) {}

  const glib::Ptr<GDBusConnection> m_connection;
  std::vector<guint> m_subscriptions;
};

}  // namespace corvane
