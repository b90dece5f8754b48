#pragma once

#include <gio/gio.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "corvane/linux/Deadline.h"
#include "corvane/platform/Result.h"

/// Owning pointers and small helpers for GLib; for the Linux backend only.
namespace corvane::glib {

struct Release {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
  void operator()(GSource* source) const { g_source_unref(source); }
  void operator()(GKeyFile* file) const { g_key_file_unref(file); }
  void operator()(GSettingsSchema* schema) const { g_settings_schema_unref(schema); }
  void operator()(GError* error) const { g_error_free(error); }
  void operator()(gchar* text) const { g_free(text); }
  void operator()(gchar** texts) const { g_strfreev(texts); }
  template <class Object>
  void operator()(Object* object) const {
    g_object_unref(object);
  }
};

template <class T>
using Ptr = std::unique_ptr<T, Release>;

/// Turns a GError into an Error with a prefix, and frees it. The domain of an error that was returned by a peer on a
/// bus is its D-Bus name, such as "org.freedesktop.DBus.Error.ServiceUnknown". For a limit that was exceeded, see
/// timedOut().
inline tl::unexpected<Error> takeError(GError* error, const std::string& prefix = {}) {
  if (!error) return failure("gio", 0, prefix + "unknown error");
  const Ptr<GError> owner(error);
  if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) return timedOut(prefix);
  // Joined by GLib: one of its threads may have written the message, and tools cannot see how GLib hands it over.
  const auto text = [&] { return Ptr<gchar>(g_strconcat(prefix.c_str(), error->message, nullptr)); };
  if (!g_dbus_error_is_remote_error(error)) return failure(g_quark_to_string(error->domain), error->code, text().get());
  const Ptr<gchar> name(g_dbus_error_get_remote_error(error));
  g_dbus_error_strip_remote_error(error);
  return failure(name.get(), 0, text().get());
}

/// A key file, such as a desktop entry or an icon theme; null if it cannot be read.
inline Ptr<GKeyFile> readKeyFile(const std::string& path, GKeyFileFlags flags = G_KEY_FILE_NONE) {
  Ptr<GKeyFile> file(g_key_file_new());
  if (!g_key_file_load_from_file(file.get(), path.c_str(), flags, nullptr)) return nullptr;
  return file;
}

/// Attaches a source that calls `work` (once for an idle source) to a context. `work` is destroyed with the source.
inline Ptr<GSource> attach(GMainContext* context, GSource* source, std::function<void()> work) {
  // GLib already orders the hand-over between threads; the flag makes that visible to tools that cannot look into GLib.
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

/// Runs `work` there after a time, unless the returned source is destroyed first.
inline Ptr<GSource> timeout(GMainContext* context, guint msec, std::function<void()> work) {
  return attach(context, g_timeout_source_new(msec), std::move(work));
}

/// Makes asynchronous GIO calls, one after the other, and waits for each; they are cancelled when the deadline passes.
/// They run on a context of their own, so they need no main loop, and none runs meanwhile.
class Waiter {
 public:
  explicit Waiter(const Deadline& deadline) : m_context(g_main_context_new()), m_cancellable(g_cancellable_new()) {
    g_main_context_push_thread_default(m_context.get());
    m_limit = timeout(m_context.get(), static_cast<guint>(deadline.msec()),
                      [this] { g_cancellable_cancel(m_cancellable.get()); });
  }

  ~Waiter() {
    g_source_destroy(m_limit.get());
    while (g_main_context_iteration(m_context.get(), FALSE)) {
    }
    g_main_context_pop_thread_default(m_context.get());
  }

  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;

  /// Calls `start(cancellable, callback, userData)` and waits for the callback.
  template <class Start>
  GAsyncResult* operator()(Start&& start) {
    m_result.reset();
    const GAsyncReadyCallback done = [](GObject*, GAsyncResult* result, gpointer self) {
      static_cast<Waiter*>(self)->m_result.reset(G_ASYNC_RESULT(g_object_ref(result)));
    };
    start(m_cancellable.get(), done, this);
    while (!m_result) g_main_context_iteration(m_context.get(), TRUE);
    return m_result.get();
  }

  /// The Error of a failed call; frees the GError.
  tl::unexpected<Error> failed(GError* error, const std::string& prefix) const {
    if (!g_cancellable_is_cancelled(m_cancellable.get())) return takeError(error, prefix);
    g_clear_error(&error);
    return timedOut(prefix);
  }

 private:
  const Ptr<GMainContext> m_context;
  const Ptr<GCancellable> m_cancellable;
  Ptr<GSource> m_limit;
  Ptr<GAsyncResult> m_result;
};

}  // namespace corvane::glib
