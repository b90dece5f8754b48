// A helper for tests and benchmarks: EchoHelper LABEL owns the label on the session bus and returns each request as its
// reply, except for those with a key that asks for something else.
#include <unistd.h>

#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/helper/HelperNames.h"

namespace {

using corvane::glib::Ptr;

Ptr<GDBusMessage> replyTo(GDBusMessage* request) {
  GVariant* const body = g_dbus_message_get_body(request);
  const Ptr<GVariant> dictionary(g_variant_get_child_value(body, 0));
  const auto asks = [&dictionary](const char* key) { return g_variant_lookup(dictionary.get(), key, "*", nullptr); };
  if (asks("crash")) _exit(1);
  if (asks("silence")) return nullptr;
  if (asks("nap")) usleep(2000);
  if (asks("error")) return Ptr<GDBusMessage>(g_dbus_message_new_method_error_literal(request, "a.b.Refused", "no"));
  if (asks("forged"))  // what only the bus can know
    return Ptr<GDBusMessage>(
        g_dbus_message_new_method_error_literal(request, "org.freedesktop.DBus.Error.NoReply", "no"));
  Ptr<GDBusMessage> reply(g_dbus_message_new_method_reply(request));
  if (asks("mistake"))
    g_dbus_message_set_body(reply.get(), g_variant_new("(i)", 1));
  else if (asks("flags"))
    g_dbus_message_set_body(reply.get(),
                            g_variant_new_parsed("({'flags': <%u>},)", guint32{g_dbus_message_get_flags(request)}));
  else
    g_dbus_message_set_body(reply.get(), body);
  g_dbus_message_set_unix_fd_list(reply.get(), g_dbus_message_get_unix_fd_list(request));
  return reply;
}

// On GIO's thread, which is the fastest way.
GDBusMessage* received(GDBusConnection* bus, GDBusMessage* message, gboolean incoming, gpointer) {
  if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return message;
  const auto send = [bus](GDBusMessage* sent) {
    g_dbus_connection_send_message(bus, sent, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
  };
  const Ptr<GDBusMessage> signal(g_dbus_message_new_signal("/", "a.b.Helper", "Unasked"));
  g_dbus_message_set_destination(signal.get(), g_dbus_message_get_sender(message));
  const Ptr<GVariant> dictionary(g_variant_get_child_value(g_dbus_message_get_body(message), 0));
  if (g_variant_lookup(dictionary.get(), "unasked", "*", nullptr)) send(signal.get());
  if (const auto reply = replyTo(message)) send(reply.get());
  g_object_unref(message);
  return nullptr;
}

}  // namespace

int main(int, char** arguments) {
  const auto bus = corvane::Bus::connect(G_BUS_TYPE_SESSION, corvane::Deadline()).value();
  g_dbus_connection_set_exit_on_close(bus->connection(), TRUE);
  const char* const BUS = "org.freedesktop.DBus";
  g_dbus_connection_add_filter(bus->connection(), received, nullptr, nullptr);
  bus->call({BUS, "/org/freedesktop/DBus", BUS, "RequestName", "(u)"}, g_variant_new("(su)", arguments[1], 0U),
            corvane::Deadline())
      .value();
  while (true) g_main_context_iteration(nullptr, TRUE);
}
