#include "corvane/linux/bus/Bus.h"

#include <errno.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <utility>

#include "corvane/core/PerProcess.h"

namespace corvane {

namespace {

// GIO's own search would finally start a session bus, with a program that may wait for an X server without a limit.
std::string sessionAddress() {
  if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS")) return address;
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  const std::string socket = std::string(folder ? folder : "") + "/bus";
  if (!folder || folder[0] != '/' || access(socket.c_str(), F_OK) != 0) return {};
  return "unix:path=" + std::string(glib::Ptr<gchar>(g_dbus_address_escape_value(socket.c_str())).get());
}

std::string systemAddress() {
  const glib::Ptr<gchar> address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
  return address ? address.get() : "";
}

Result<BusReply> replyOf(GVariant* values, GUnixFDList* descriptors, GError* error, const BusMethod& method) {
  BusReply reply{glib::Ptr<GVariant>(values), glib::Ptr<GUnixFDList>(descriptors)};
  if (!values) return glib::takeError(error, method.trouble);
  return reply;
}

struct Subscription {
  std::string type;
  std::function<void(GVariant*)> handler;
};

}  // namespace

bool hasDescriptors() {
  std::array<FileDescriptor, 4> probes;
  for (FileDescriptor& probe : probes) probe = FileDescriptor(eventfd(0, EFD_CLOEXEC));
  return std::ranges::all_of(probes, [](const FileDescriptor& probe) { return probe.get() >= 0; });
}

FileDescriptor BusReply::descriptor(gint32 handle) const {
  const bool came = descriptors && handle >= 0 && handle < g_unix_fd_list_get_length(descriptors.get());
  return FileDescriptor(came ? g_unix_fd_list_get(descriptors.get(), handle, nullptr) : -1);
}

Result<std::unique_ptr<Bus>> Bus::connect(GBusType type, const Deadline& deadline) {
  const bool isSystem = type == G_BUS_TYPE_SYSTEM;
  const std::string trouble = isSystem ? "No system bus: " : "No session bus: ";
  const std::string address = isSystem ? systemAddress() : sessionAddress();
  if (address.empty()) return failure("bus", 0, trouble + "the environment names none");
  // GIO serves all connections with threads that a forked child does not have: connecting there would never end.
  static const unsigned FIRST_USER = forkCount();
  if (forkCount() != FIRST_USER) return failure("bus", 0, trouble + "this process was forked after it had used a bus");
  if (!hasDescriptors()) return systemFailure(EMFILE);
  // Created before the waiter, so that its own signals go to the caller's context.
  glib::Ptr<GDBusConnection> connection(G_DBUS_CONNECTION(g_object_new(
      G_TYPE_DBUS_CONNECTION, "address", address.c_str(), "flags",
      G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION, nullptr)));
  glib::Waiter wait(deadline);
  GAsyncResult* result = wait([&connection](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
    g_async_initable_init_async(G_ASYNC_INITABLE(connection.get()), G_PRIORITY_DEFAULT, cancellable, done, data);
  });
  GError* error = nullptr;
  if (!g_async_initable_init_finish(G_ASYNC_INITABLE(connection.get()), result, &error))
    return wait.failed(error, trouble);
  return std::unique_ptr<Bus>(new Bus(std::move(connection)));
}

Bus::~Bus() {
  for (const guint subscription : m_subscriptions)
    g_dbus_connection_signal_unsubscribe(m_connection.get(), subscription);
  g_dbus_connection_close(m_connection.get(), nullptr, nullptr, nullptr);
}

Result<BusReply> Bus::call(const BusMethod& method, GVariant* arguments, const Deadline& deadline,
                           GUnixFDList* descriptors) const {
  const glib::Ptr<GVariant> owner(arguments ? g_variant_ref_sink(arguments) : nullptr);
  if (deadline.isOver()) return timedOut(method.trouble);
  if (!hasDescriptors()) return systemFailure(EMFILE);
  GUnixFDList* received = nullptr;
  GError* error = nullptr;
  GVariant* const values = g_dbus_connection_call_with_unix_fd_list_sync(
      m_connection.get(), method.service.c_str(), method.object.c_str(), method.interface.c_str(), method.name.c_str(),
      arguments, G_VARIANT_TYPE(method.replyType), method.flags, deadline.msec(), descriptors, &received, nullptr,
      &error);
  return replyOf(values, received, error, method);
}

Result<BusReply> Bus::callWhile(const BusMethod& method, GVariant* arguments, const Deadline& deadline,
                                const std::function<void()>& meanwhile) const {
  const glib::Ptr<GVariant> owner(arguments ? g_variant_ref_sink(arguments) : nullptr);
  if (!hasDescriptors()) {
    meanwhile();
    return systemFailure(EMFILE);
  }
  const glib::Ptr<GMainContext> context(g_main_context_new());
  std::optional<Result<BusReply>> answer;
  g_main_context_push_thread_default(context.get());
  callLater(method, arguments, deadline, [&answer](Result<BusReply> reply) { answer = std::move(reply); });
  g_main_context_pop_thread_default(context.get());
  meanwhile();
  while (!answer) g_main_context_iteration(context.get(), TRUE);
  return std::move(*answer);
}

void Bus::callLater(const BusMethod& method, GVariant* arguments, const Deadline& deadline,
                    std::function<void(Result<BusReply> reply)> done) const {
  struct Call {
    BusMethod method;
    std::function<void(Result<BusReply>)> done;
  };
  const GAsyncReadyCallback answered = [](GObject* connection, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Call> call(static_cast<Call*>(data));
    GUnixFDList* descriptors = nullptr;
    GError* error = nullptr;
    GVariant* const values =
        g_dbus_connection_call_with_unix_fd_list_finish(G_DBUS_CONNECTION(connection), &descriptors, result, &error);
    call->done(replyOf(values, descriptors, error, call->method));
  };
  g_dbus_connection_call_with_unix_fd_list(m_connection.get(), method.service.c_str(), method.object.c_str(),
                                           method.interface.c_str(), method.name.c_str(), arguments,
                                           G_VARIANT_TYPE(method.replyType), method.flags, deadline.msec(), nullptr,
                                           nullptr, answered, new Call{method, std::move(done)});
}

void Bus::send(const BusMethod& method, GVariant* arguments) const {
  g_dbus_connection_call(m_connection.get(), method.service.c_str(), method.object.c_str(), method.interface.c_str(),
                         method.name.c_str(), arguments, nullptr, method.flags, -1, nullptr, nullptr, nullptr);
}

void Bus::subscribe(const BusSignal& signal, std::function<void(GVariant*)> handler) {
  // Any program may send signals, with any arguments.
  const GDBusSignalCallback received = [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                                          GVariant* arguments, gpointer data) {
    const auto& subscription = *static_cast<Subscription*>(data);
    if (g_variant_is_of_type(arguments, G_VARIANT_TYPE(subscription.type.c_str()))) subscription.handler(arguments);
  };
  m_subscriptions.push_back(g_dbus_connection_signal_subscribe(
      m_connection.get(), signal.service.c_str(), signal.interface.c_str(), signal.name.c_str(), nullptr,
      signal.firstArgument.empty() ? nullptr : signal.firstArgument.c_str(), G_DBUS_SIGNAL_FLAGS_NONE, received,
      new Subscription{signal.type, std::move(handler)},
      [](gpointer data) { delete static_cast<Subscription*>(data); }));
}

void Bus::watchName(const std::string& name, std::function<void(const std::string& owner)> handler) {
  subscribe({.service = "org.freedesktop.DBus",
             .interface = "org.freedesktop.DBus",
             .name = "NameOwnerChanged",
             .type = "(sss)",
             .firstArgument = name},
            [handler = std::move(handler)](GVariant* arguments) {
              const char* owner = nullptr;
              g_variant_get_child(arguments, 2, "&s", &owner);
              handler(owner);
            });
}

}  // namespace corvane
