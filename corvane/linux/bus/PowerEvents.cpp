#include "corvane/platform/PowerEvents.h"

#include <gio/gio.h>
#include <gio/gunixfdlist.h>
#include <glib-unix.h>
#include <unistd.h>

#include <map>
#include <optional>
#include <utility>

#include "corvane/core/MainQueue.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/PThread.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/x11/ScreenSaverX11.h"

namespace corvane {

namespace {

constexpr int CALL_LIMIT_MSEC = 5000;

// The login manager waits 5 s for delay locks unless configured otherwise; handlers that take longer are not waited
// for, so that its own limit never has to end the wait.
constexpr guint HANDLER_LIMIT_MSEC = 4500;

using Listeners = std::function<void(std::string_view name)>;
using Unavailable = std::function<void(const Error&)>;

// Watches the login manager and the screens from a thread of its own with its own context, so that a slow bus never
// holds up the main loop. Lives as long as somebody listens.
class Watch : public std::enable_shared_from_this<Watch> {
 public:
  // Both callables are called on the main queue.
  Watch(Listeners listeners, Unavailable unavailable)
      : m_listeners(std::move(listeners)), m_unavailable(std::move(unavailable)), m_context(g_main_context_new()) {}

  void start() {
    PThread().start(shared_from_this(),
                    [](const std::any& self) { std::any_cast<std::shared_ptr<Watch>>(self)->run(); });
  }

  // Any thread; does not wait.
  void end() {
    invoke([this] { m_ended = true; });
  }

 private:
  // Everything below runs on the watch's thread.
  void run() {
    pthread_setname_np(pthread_self(), "power events");
    g_main_context_push_thread_default(m_context.get());
    watchLogin();
    if (!m_ended) watchScreens();
    while (!m_ended) g_main_context_iteration(m_context.get(), TRUE);
    release();
    m_screens.reset();
    if (m_screenSource) g_source_destroy(m_screenSource.get());
    for (auto& [connection, subscription] : m_subscriptions)
      g_dbus_connection_signal_unsubscribe(connection.get(), subscription);
    m_subscriptions.clear();
    for (auto* connection : {&m_system, &m_session})
      if (*connection) g_dbus_connection_close_sync(connection->get(), nullptr, nullptr);
    while (g_main_context_iteration(m_context.get(), FALSE)) {
    }
    g_main_context_pop_thread_default(m_context.get());
  }

  void invoke(std::function<void()> work) {
    glib::invoke(m_context.get(), [self = shared_from_this(), work] { work(); });
  }

  void emit(std::string_view name, std::function<void()> afterwards = {}) {
    main_post([self = shared_from_this(), name, afterwards] {
      self->m_listeners(name);
      if (afterwards) self->invoke(afterwards);
    });
  }

  void report(const Error& error) {
    main_post([self = shared_from_this(), error] { self->m_unavailable(error); });
  }

  // --- The system's sleep, from logind.

  void watchLogin() {
    auto bus = glib::privateBus(G_BUS_TYPE_SYSTEM);
    if (!bus) return report(bus.error());
    m_system = std::move(*bus);
    subscribe(m_system, "org.freedesktop.login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
              [this](GVariant* parameters) {
                if (const auto asleep = onlyBoolean(parameters)) prepareForSleep(*asleep);
              });
    if (const auto held = inhibit(); !held) report(held.error());
  }

  // Takes the delay lock: while it is held, logind waits for us between its signal and the sleep.
  Result<void> inhibit() {
    GError* error = nullptr;
    GUnixFDList* descriptors = nullptr;
    const glib::Ptr<GVariant> reply(g_dbus_connection_call_with_unix_fd_list_sync(
        m_system.get(), "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
        "Inhibit",
        g_variant_new("(ssss)", "sleep", g_get_prgname() ? g_get_prgname() : "corvane", "Stops periodic tasks",
                      "delay"),
        G_VARIANT_TYPE("(h)"), G_DBUS_CALL_FLAGS_NONE, CALL_LIMIT_MSEC, nullptr, &descriptors, nullptr, &error));
    if (!reply) return glib::takeError(error, "The login manager does not tell of sleep: ");
    gint32 handle = -1;
    g_variant_get(reply.get(), "(h)", &handle);
    const glib::Ptr<GUnixFDList> list(descriptors);
    m_lock = g_unix_fd_list_get(list.get(), handle, nullptr);
    return {};
  }

  void release() {
    if (m_limit) g_source_destroy(m_limit.get());
    m_limit.reset();
    if (m_lock >= 0) close(std::exchange(m_lock, -1));
  }

  void prepareForSleep(bool asleep) {
    if (std::exchange(m_asleep, asleep) == asleep) return;
    if (asleep) {
      m_limit = glib::timeout(m_context.get(), HANDLER_LIMIT_MSEC, [this] { release(); });
      emit(WILL_SLEEP, [this, sleep = ++m_sleeps] {
        if (sleep == m_sleeps) release();
      });
      return;
    }
    ++m_sleeps;  // a handler that is still at it must not release the lock for the next sleep
    release();
    emit(DID_WAKE);
    if (const auto held = inhibit(); !held) report(held.error());
  }

  // --- The screens, from the first source that answers.

  void watchScreens() {
    if (auto bus = glib::privateBus(G_BUS_TYPE_SESSION)) {
      m_session = std::move(*bus);
      if (watchMutter()) return;
      for (const char* name : {"org.gnome.ScreenSaver", "org.freedesktop.ScreenSaver"})
        if (watchScreenSaver(name)) return;
    }
    m_screens = ScreenSaverX11::open();
    if (!m_screens) return report({"screens", 0, "No service tells when the screens sleep"});
    m_screenSource.reset(g_unix_fd_source_new(m_screens->descriptor(), G_IO_IN));
    const GUnixFDSourceFunc readable = [](gint, GIOCondition, gpointer self) -> gboolean {
      auto& watch = *static_cast<Watch*>(self);
      return watch.m_screens->dispatch([&watch](bool asleep) { watch.screens(asleep); });
    };
    g_source_set_callback(m_screenSource.get(), G_SOURCE_FUNC(readable), this, nullptr);
    g_source_attach(m_screenSource.get(), m_context.get());
    // Looking for the extension may have read events already, for which the descriptor will not become readable.
    m_screens->dispatch([this](bool asleep) { screens(asleep); });
  }

  bool watchMutter() {
    const auto mode =
        call("org.gnome.Mutter.DisplayConfig", "/org/gnome/Mutter/DisplayConfig", "org.freedesktop.DBus.Properties",
             "Get", g_variant_new("(ss)", "org.gnome.Mutter.DisplayConfig", "PowerSaveMode"));
    if (!mode) return false;
    subscribe(m_session, "org.gnome.Mutter.DisplayConfig", "org.freedesktop.DBus.Properties", "PropertiesChanged",
              [this](GVariant* parameters) {
                if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)"))) return;
                const glib::Ptr<GVariant> changed(g_variant_get_child_value(parameters, 1));
                gint32 now = 0;
                if (g_variant_lookup(changed.get(), "PowerSaveMode", "i", &now)) screens(now > 0);
              });
    return true;
  }

  bool watchScreenSaver(const char* name) {
    const std::string path = std::string("/") + (name[4] == 'g' ? "org/gnome" : "org/freedesktop") + "/ScreenSaver";
    if (!call(name, path.c_str(), name, "GetActive", nullptr)) return false;
    subscribe(m_session, name, name, "ActiveChanged", [this](GVariant* parameters) {
      if (const auto active = onlyBoolean(parameters)) screens(*active);
    });
    return true;
  }

  void screens(bool asleep) {
    if (std::exchange(m_screensAsleep, asleep) != asleep) emit(asleep ? SCREENS_DID_SLEEP : SCREENS_DID_WAKE);
  }

  // --- Bus calls. Asking must not start a service.

  glib::Ptr<GVariant> call(const char* name, const char* path, const char* interface, const char* method,
                           GVariant* in) {
    return glib::Ptr<GVariant>(g_dbus_connection_call_sync(m_session.get(), name, path, interface, method, in, nullptr,
                                                           G_DBUS_CALL_FLAGS_NO_AUTO_START, CALL_LIMIT_MSEC, nullptr,
                                                           nullptr));
  }

  // Signals are anybody's to send, in any shape.
  static std::optional<bool> onlyBoolean(GVariant* parameters) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(b)"))) return std::nullopt;
    gboolean value = FALSE;
    g_variant_get(parameters, "(b)", &value);
    return value != FALSE;
  }

  void subscribe(const glib::Ptr<GDBusConnection>& connection, const char* sender, const char* interface,
                 const char* signal, std::function<void(GVariant*)> handler) {
    using Handler = std::function<void(GVariant*)>;
    const GDBusSignalCallback received = [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                                            GVariant* parameters,
                                            gpointer handle) { (*static_cast<Handler*>(handle))(parameters); };
    const guint subscription = g_dbus_connection_signal_subscribe(
        connection.get(), sender, interface, signal, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, received,
        new Handler(std::move(handler)), [](gpointer handle) { delete static_cast<Handler*>(handle); });
    m_subscriptions.emplace_back(glib::Ptr<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(connection.get()))),
                                 subscription);
  }

  const Listeners m_listeners;
  const Unavailable m_unavailable;
  const glib::Ptr<GMainContext> m_context;
  bool m_ended = false;
  glib::Ptr<GDBusConnection> m_system;
  glib::Ptr<GDBusConnection> m_session;
  std::vector<std::pair<glib::Ptr<GDBusConnection>, guint>> m_subscriptions;
  int m_lock = -1;  // the delay lock's descriptor
  glib::Ptr<GSource> m_limit;
  std::uint64_t m_sleeps = 0;
  bool m_asleep = false;
  bool m_screensAsleep = false;
  std::unique_ptr<ScreenSaverX11> m_screens;
  glib::Ptr<GSource> m_screenSource;
};

class LinuxPowerEvents : public PowerEvents, public std::enable_shared_from_this<LinuxPowerEvents> {
 public:
  Token subscribe(Listener listener, std::function<void(const Error&)> unavailable) override {
    MutexLock lock(m_mutex);
    const Token token = ++m_lastToken;
    m_subscribers[token] = std::make_shared<const Subscriber>(std::move(listener), std::move(unavailable));
    if (!m_watch) {
      m_watch = std::make_shared<Watch>(
          [weak = weak_from_this()](std::string_view name) {
            if (const auto self = weak.lock())
              self->visit([&name](const Subscriber& subscriber) { subscriber.listener({std::string(name)}); });
          },
          [weak = weak_from_this()](const Error& error) {
            if (const auto self = weak.lock())
              self->visit([&error](const Subscriber& subscriber) { subscriber.unavailable(error); });
          });
      m_watch->start();
    }
    return token;
  }

  void unsubscribe(Token token) override {
    std::shared_ptr<const Subscriber> dropped;
    MutexLock lock(m_mutex);
    const auto found = m_subscribers.find(token);
    if (found == m_subscribers.end()) return;
    dropped = std::move(found->second);
    m_subscribers.erase(found);
    if (m_subscribers.empty()) std::exchange(m_watch, nullptr)->end();
    lock.unlock();
  }

 private:
  struct Subscriber {
    Listener listener;
    std::function<void(const Error&)> unavailable;
  };

  // Calls each one that is still there when its turn comes.
  template <class Call>
  void visit(Call&& call) {
    MutexLock lock(m_mutex);
    const auto snapshot = m_subscribers;
    for (const auto& [token, subscriber] : snapshot) {
      if (!m_subscribers.contains(token)) continue;
      lock.unlock();
      call(*subscriber);
      lock.lock();
    }
  }

  Mutex m_mutex;
  std::map<Token, std::shared_ptr<const Subscriber>> m_subscribers CORVANE_GUARDED_BY(m_mutex);
  Token m_lastToken CORVANE_GUARDED_BY(m_mutex) = 0;
  std::shared_ptr<Watch> m_watch CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace

template <>
std::shared_ptr<PowerEvents> makeService<PowerEvents>() {
  return std::make_shared<LinuxPowerEvents>();
}

}  // namespace corvane
