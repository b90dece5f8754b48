#pragma once

#include <memory>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/linux/bus/Bus.h"

namespace corvane {

/// Owns a name on the session bus; records every call of its methods and answers with nothing, or not at all. No main
/// loop is needed.
class BusService {
 public:
  enum class Manner { ANSWERS, IS_SILENT };

  explicit BusService(const std::string& name, Manner manner = Manner::ANSWERS)
      : m_manner(manner), m_bus(Bus::connect(G_BUS_TYPE_SESSION, Deadline()).value()) {
    const GDBusMessageFilterFunction received = [](auto* bus, auto* message, gboolean incoming, gpointer self) {
      return incoming ? static_cast<BusService*>(self)->take(bus, message) : message;
    };
    m_filter = g_dbus_connection_add_filter(m_bus->connection(), received, this, nullptr);
    m_bus
        ->call({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName", "(u)"},
               g_variant_new("(su)", name.c_str(), 0U), Deadline())
        .value();
  }

  ~BusService() {
    g_dbus_connection_remove_filter(m_bus->connection(), m_filter);
    g_dbus_connection_close_sync(m_bus->connection(), nullptr, nullptr);
  }

  /// The calls, as "/object interface.Method(arguments)".
  std::vector<std::string> calls() {
    MutexLock lock(m_mutex);
    return m_calls;
  }

 private:
  // On the connection's own thread.
  GDBusMessage* take(GDBusConnection* bus, GDBusMessage* message) {
    if (g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return message;
    GVariant* const body = g_dbus_message_get_body(message);  // null without arguments
    const glib::Ptr<gchar> arguments(body ? g_variant_print(body, TRUE) : g_strdup("()"));
    MutexLock lock(m_mutex);
    m_calls.push_back(std::string(g_dbus_message_get_path(message)) + " " + g_dbus_message_get_interface(message) +
                      "." + g_dbus_message_get_member(message) + arguments.get());
    if (m_manner == Manner::ANSWERS) {
      const glib::Ptr<GDBusMessage> reply(g_dbus_message_new_method_reply(message));
      g_dbus_connection_send_message(bus, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    }
    g_object_unref(message);
    return nullptr;
  }

  const Manner m_manner;
  const std::unique_ptr<Bus> m_bus;
  guint m_filter = 0;
  Mutex m_mutex;
  std::vector<std::string> m_calls CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
