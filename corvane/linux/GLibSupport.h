#pragma once

#include <gio/gio.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "corvane/platform/Result.h"

/// Owning pointers and small helpers over GLib, for the Linux backend only.
namespace corvane::glib {

struct Release {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
  void operator()(GSource* source) const { g_source_unref(source); }
  void operator()(gchar* text) const { g_free(text); }
  template <class Object>
  void operator()(Object* object) const {
    g_object_unref(object);
  }
};

template <class T>
using Ptr = std::unique_ptr<T, Release>;

/// Turns a GError into an Error with a text in front, and frees it.
inline tl::unexpected<Error> takeError(GError* error, const std::string& prefix = {}) {
  if (!error) return failure("gio", 0, prefix + "unknown error");
  if (g_dbus_error_is_remote_error(error)) g_dbus_error_strip_remote_error(error);
  auto result = failure(g_quark_to_string(error->domain), error->code, prefix + error->message);
  g_error_free(error);
  return result;
}

/// A connection of the caller's own to a bus, found as the environment says now; its end does not end the process.
inline Result<Ptr<GDBusConnection>> privateBus(GBusType type) {
  GError* error = nullptr;
  const Ptr<gchar> address(g_dbus_address_get_for_bus_sync(type, nullptr, &error));
  if (!address) return takeError(error, "No bus: ");
  Ptr<GDBusConnection> connection(g_dbus_connection_new_for_address_sync(
      address.get(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error));
  if (!connection) return takeError(error, type == G_BUS_TYPE_SYSTEM ? "No system bus: " : "No session bus: ");
  return connection;
}

/// Attaches a source that calls `work` (once for an idle source) to a context. `work` is destroyed with the source.
inline Ptr<GSource> attach(GMainContext* context, GSource* source, std::function<void()> work) {
  // GLib orders the hand-over between threads already; the flag shows that to tools that cannot look into GLib.
  struct Task {
    std::function<void()> work;
    std::atomic<bool> ready = false;
  };
  const GSourceFunc call = [](gpointer handle) -> gboolean {
    auto& task = *static_cast<Task*>(handle);
    if (task.ready.load(std::memory_order_acquire)) task.work();
    return G_SOURCE_REMOVE;
  };
  auto* task = new Task{std::move(work)};
  task->ready.store(true, std::memory_order_release);
  g_source_set_callback(source, call, task, [](gpointer handle) { delete static_cast<Task*>(handle); });
  g_source_attach(source, context);
  return Ptr<GSource>(source);
}

/// Runs `work` on the thread that iterates the context, later.
inline void invoke(GMainContext* context, std::function<void()> work) {
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  attach(context, source, std::move(work));
}

/// Runs `work` there after a time, unless the returned source is destroyed before.
inline Ptr<GSource> timeout(GMainContext* context, guint msec, std::function<void()> work) {
  return attach(context, g_timeout_source_new(msec), std::move(work));
}

}  // namespace corvane::glib
