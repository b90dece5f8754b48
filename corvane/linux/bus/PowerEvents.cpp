#include "corvane/platform/PowerEvents.h"

#include <errno.h>
#include <glib-unix.h>
#include <pthread.h>

#include <cstdlib>
#include <map>
#include <utility>

#include "corvane/core/MainQueue.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/Thread.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/x11/ScreenSaverX11.h"

namespace corvane {

namespace {

// The login manager waits 5 s for delay locks unless configured otherwise; this does not wait for handlers that take
// longer, so that its limit never has to end the wait.
constexpr guint HANDLER_LIMIT_MSEC = 4500;

constexpr const char* LOGIN = "org.freedesktop.login1";
constexpr const char* LOGIN_MANAGER = "org.freedesktop.login1.Manager";
constexpr const char* MUTTER = "org.gnome.Mutter.DisplayConfig";
constexpr const char* PROPERTIES = "org.freedesktop.DBus.Properties";

using Listeners = std::function<void(std::string_view name)>;
using Unavailable = std::function<void(const Error&)>;

bool boolean(GVariant* arguments) {
  gboolean value = FALSE;
  g_variant_get(arguments, "(b)", &value);
  return value != FALSE;
}

// Watches the login manager and the screens on its own thread and context, so that a slow bus never holds up the main
// loop. Lives for as long as there are listeners.
class Watch : public std::enable_shared_from_this<Watch> {
 public:
  // Both functions are called on the main queue.
  Watch(Listeners listeners, Unavailable unavailable)
      : m_listeners(std::move(listeners)), m_unavailable(std::move(unavailable)), m_context(g_main_context_new()) {}

  void start() {
    if (!startDetached([self = shared_from_this()] { self->run(); }))
      report({"posix", EAGAIN, "The system refuses a thread to watch for sleep"});
  }

  // Any thread. Does not wait.
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
    if (m_screenSource) g_source_destroy(m_screenSource.get());
    m_screens.reset();
    m_system.reset();
    m_session.reset();
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
    const Deadline deadline;
    auto bus = Bus::connect(G_BUS_TYPE_SYSTEM, deadline);
    if (!bus) return report(bus.error());
    m_system = std::move(*bus);
    m_system->subscribe({LOGIN, LOGIN_MANAGER, "PrepareForSleep", "(b)"},
                        [this](GVariant* arguments) { prepareForSleep(boolean(arguments)); });
    // If the login manager that announced a sleep disappears, no one else announces the end of that sleep.
    m_system->watchName(LOGIN, [this](const std::string& owner) {
      if (owner.empty()) prepareForSleep(false);
    });
    inhibit(deadline);
  }

  // Takes the delay lock: while it is held, logind waits for us between its signal and the sleep.
  void inhibit(const Deadline& deadline) {
    const auto reply = m_system->call({LOGIN, "/org/freedesktop/login1", LOGIN_MANAGER, "Inhibit", "(h)",
                                       G_DBUS_CALL_FLAGS_NONE, "The login manager does not report sleep: "},
                                      g_variant_new("(ssss)", "sleep", g_get_prgname() ? g_get_prgname() : "corvane",
                                                    "Stops periodic tasks", "delay"),
                                      deadline);
    if (!reply) return report(reply.error());
    gint32 handle = -1;
    g_variant_get(reply->values.get(), "(h)", &handle);
    m_lock = reply->descriptor(handle);
  }

  void release() {
    if (m_limit) g_source_destroy(m_limit.get());
    m_limit.reset();
    m_lock = FileDescriptor();
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
    ++m_sleeps;  // a handler that is still running must not release the lock for the next sleep
    release();
    emit(DID_WAKE);
    inhibit(Deadline());
  }

  // --- The screens, from the first source that answers. Asking must not start a service.

  void watchScreens() {
    if (auto bus = Bus::connect(G_BUS_TYPE_SESSION, Deadline())) {
      m_session = std::move(*bus);
      if (watchMutter() || watchScreenSaver("org.gnome.ScreenSaver", "/org/gnome/ScreenSaver") ||
          watchScreenSaver("org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver"))
        return;
    }
    const char* const display = std::getenv("DISPLAY");
    m_screens = ScreenSaverX11::open(display ? display : "");
    if (!m_screens) return report({"screens", 0, "No service reports when the screens sleep"});
    m_screenSource.reset(g_unix_fd_source_new(m_screens->descriptor(), G_IO_IN));
    const GUnixFDSourceFunc readable = [](gint, GIOCondition, gpointer self) -> gboolean {
      auto& watch = *static_cast<Watch*>(self);
      return watch.m_screens->dispatch([&watch](bool asleep) { watch.screens(asleep); });
    };
    g_source_set_callback(m_screenSource.get(), G_SOURCE_FUNC(readable), this, nullptr);
    g_source_attach(m_screenSource.get(), m_context.get());
    // Querying the extension may already have read events, for which the descriptor will not become readable.
    m_screens->dispatch([this](bool asleep) { screens(asleep); });
  }

  bool watchMutter() {
    if (!answers({MUTTER, "/org/gnome/Mutter/DisplayConfig", PROPERTIES, "Get", "(v)"},
                 g_variant_new("(ss)", MUTTER, "PowerSaveMode")))
      return false;
    m_session->subscribe({MUTTER, PROPERTIES, "PropertiesChanged", "(sa{sv}as)", MUTTER}, [this](GVariant* arguments) {
      const glib::Ptr<GVariant> changed(g_variant_get_child_value(arguments, 1));
      gint32 mode = 0;
      if (g_variant_lookup(changed.get(), "PowerSaveMode", "i", &mode)) screens(mode > 0);
    });
    return true;
  }

  bool watchScreenSaver(const std::string& name, const std::string& path) {
    if (!answers({name, path, name, "GetActive", "(b)"}, nullptr)) return false;
    m_session->subscribe({name, name, "ActiveChanged", "(b)"},
                         [this](GVariant* arguments) { screens(boolean(arguments)); });
    return true;
  }

  // Whether a service that knows about the screens exists. If it ends, the screens count as awake.
  bool answers(BusMethod question, GVariant* arguments) {
    question.flags = G_DBUS_CALL_FLAGS_NO_AUTO_START;
    if (!m_session->call(question, arguments, Deadline())) return false;
    m_session->watchName(question.service, [this](const std::string& owner) {
      if (owner.empty()) screens(false);
    });
    return true;
  }

  void screens(bool asleep) {
    if (std::exchange(m_screensAsleep, asleep) != asleep) emit(asleep ? SCREENS_DID_SLEEP : SCREENS_DID_WAKE);
  }

  const Listeners m_listeners;
  const Unavailable m_unavailable;
  const glib::Ptr<GMainContext> m_context;
  bool m_ended = false;
  std::unique_ptr<Bus> m_system;
  std::unique_ptr<Bus> m_session;
  FileDescriptor m_lock;  // the delay lock
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

  // Calls each one that is still subscribed when its turn comes.
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
