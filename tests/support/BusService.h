#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/linux/bus/Bus.h"

namespace corvane {

/// Owns a name on the session bus; records every call of its methods and answers as the test says, at first with
/// nothing. No main loop is needed.
class BusService {
 public:
  enum class Manner { ANSWERS, IS_SILENT, REFUSES };

  explicit BusService(const std::string& name, Manner manner = Manner::ANSWERS)
      : m_bus(Bus::connect(G_BUS_TYPE_SESSION, Deadline()).value()), m_manner(manner) {
    m_isMade = true;
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
    MutexLock lock(m_mutex);  // a call that was being answered
  }

  /// Changes the manner; `error` is the name of the D-Bus error of a refusal.
  void behave(Manner manner, const std::string& error = {}) {
    MutexLock lock(m_mutex);
    m_manner = manner;
    m_error = error;
  }

  /// Answers calls of a method with these values, a tuple in GVariant's text format.
  void answer(const std::string& method, const std::string& values) {
    MutexLock lock(m_mutex);
    m_answers[method] = values;
  }

  /// Sends a signal with these values.
  void send(const char* object, const char* interface, const char* signal, const std::string& values) {
    g_dbus_connection_emit_signal(m_bus->connection(), nullptr, object, interface, signal,
                                  g_variant_new_parsed(values.c_str()), nullptr);
  }

  /// The calls, as "/object interface.Method(arguments)".
  std::vector<std::string> calls() {
    MutexLock lock(m_mutex);
    return m_calls;
  }

 private:
  // On the connection's own thread.
  GDBusMessage* take(GDBusConnection* bus, GDBusMessage* message) {
    if (!m_isMade || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return message;
    GVariant* const body = g_dbus_message_get_body(message);  // null without arguments
    const glib::Ptr<gchar> arguments(body ? g_variant_print(body, TRUE) : g_strdup("()"));
    MutexLock lock(m_mutex);
    m_calls.push_back(std::string(g_dbus_message_get_path(message)) + " " + g_dbus_message_get_interface(message) +
                      "." + g_dbus_message_get_member(message) + arguments.get());
    if (m_manner != Manner::IS_SILENT) {
      const glib::Ptr<GDBusMessage> reply(
          m_manner == Manner::ANSWERS ? g_dbus_message_new_method_reply(message)
                                      : g_dbus_message_new_method_error_literal(message, m_error.c_str(), "no"));
      const auto values = m_answers.find(g_dbus_message_get_member(message));
      if (m_manner == Manner::ANSWERS && values != m_answers.end())
        g_dbus_message_set_body(reply.get(), g_variant_new_parsed(values->second.c_str()));
      g_dbus_connection_send_message(bus, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    }
    g_object_unref(message);
    return nullptr;
  }

  const std::unique_ptr<Bus> m_bus;
  guint m_filter = 0;
  std::atomic<bool> m_isMade = false;  // shows the thread sanitizer an order that GLib keeps anyway
  Mutex m_mutex;
  Manner m_manner CORVANE_GUARDED_BY(m_mutex);
  std::string m_error CORVANE_GUARDED_BY(m_mutex);
  std::map<std::string, std::string> m_answers CORVANE_GUARDED_BY(m_mutex);
  std::vector<std::string> m_calls CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
