#include "corvane/platform/RunningApplications.h"

#include <errno.h>
#include <gio/gdesktopappinfo.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/core/Mutex.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/process/ProcessText.h"
#include "corvane/linux/x11/WindowsX11.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t MAX_TEXT_BYTES = 4U << 20;  // of a file in /proc whose size a process can influence

using Entry = glib::Ptr<GDesktopAppInfo>;

tl::unexpected<Error> none(pid_t pid, const char* what) {
  return failure("applications", ESRCH, "Process " + std::to_string(pid) + " " + what);
}

std::string readText(pid_t pid, const char* name) {
  std::string text;
  const auto file = openForReading("/proc/" + std::to_string(pid) + "/" + name);
  std::array<char, 16384> buffer;
  ssize_t got = file ? 1 : 0;
  while (got > 0 && text.size() < MAX_TEXT_BYTES) {
    got = uninterrupted([&] { return ::read(file->get(), buffer.data(), buffer.size()); });
    if (got > 0) text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return text;
}

std::string unitOf(pid_t pid) {
  return std::string(applicationUnit(readText(pid, "cgroup")));
}

// Desktop entries. Hidden ones and those whose program is missing are ignored.

Entry entryNamed(const std::string& identifier) {
  return Entry(identifier.empty() ? nullptr : g_desktop_app_info_new((identifier + ".desktop").c_str()));
}

Entry entryOfUnit(std::string_view unit) {
  for (const std::string& identifier : applicationIdentifiers(unit))
    if (Entry entry = entryNamed(identifier)) return entry;
  return nullptr;
}

Entry entryOfEnvironment(pid_t pid) {
  const std::string text = readText(pid, "environ");
  const auto file = environmentValue(text, "GIO_LAUNCHED_DESKTOP_FILE");
  // Both are inherited by processes that are not the application.
  if (!file || environmentValue(text, "GIO_LAUNCHED_DESKTOP_FILE_PID") != std::to_string(pid)) return nullptr;
  std::error_code ignored;
  if (!file->starts_with('/') || !file->ends_with(".desktop") || !fs::is_regular_file(*file, ignored)) return nullptr;
  Entry entry(g_desktop_app_info_new_from_filename(std::string(*file).c_str()));
  return entry && !g_desktop_app_info_get_is_hidden(entry.get()) ? std::move(entry) : nullptr;
}

// The first entry that meets a condition.
template <class Test>
Entry findEntry(Test&& holds) {
  Entry found;
  GList* const all = g_app_info_get_all();
  for (const GList* item = all; item && !found; item = item->next) {
    auto* const entry = G_DESKTOP_APP_INFO(item->data);
    if (holds(entry)) found.reset(static_cast<GDesktopAppInfo*>(g_object_ref(entry)));
  }
  g_list_free_full(all, g_object_unref);
  return found;
}

Entry entryOfClass(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    Entry found = findEntry([&name](GDesktopAppInfo* entry) {
      const char* const ofWindows = g_desktop_app_info_get_startup_wm_class(entry);
      return ofWindows && name == ofWindows;
    });
    if (found) return found;
  }
  for (const std::string& name : names) {
    if (Entry found = entryNamed(name)) return found;
    const glib::Ptr<gchar> lower(g_ascii_strdown(name.c_str(), -1));
    if (Entry found = entryNamed(lower.get())) return found;
  }
  return nullptr;
}

// With arguments other than files, one program may be many applications, as an interpreter is.
Entry entryOfExecutable(const fs::path& executable) {
  return findEntry([&executable](GDesktopAppInfo* entry) {
    const char* const command = g_app_info_get_commandline(G_APP_INFO(entry));
    gchar** words = nullptr;
    if (!command || !g_shell_parse_argv(command, nullptr, &words, nullptr)) return false;
    const glib::Ptr<gchar*> owner(words);
    for (gchar** word = words + 1; *word; ++word)
      if (**word != '%') return false;
    const glib::Ptr<gchar> program(g_find_program_in_path(words[0]));
    std::error_code ignored;
    return program && fs::canonical(program.get(), ignored) == executable;
  });
}

bool isForMenus(const Entry& entry) {
  return entry && !g_desktop_app_info_get_nodisplay(entry.get());
}

// Asks an application on the session bus to come to the front, without starting it.
Result<void> activateOnBus(const fs::path& entry, const Deadline& deadline) {
  const std::string name = entry.stem();
  std::string path = "/" + name;
  std::ranges::replace(path, '.', '/');
  std::ranges::replace(path, '-', '_');
  if (!g_dbus_is_name(name.c_str()) || !g_variant_is_object_path(path.c_str()))
    return failure("applications", 0, entry.string() + " does not have the name of an application on the bus");
  const BusMethod activate = {.service = name,
                              .object = path,
                              .interface = "org.freedesktop.Application",
                              .name = "Activate",
                              .flags = G_DBUS_CALL_FLAGS_NO_AUTO_START,
                              .trouble = name + " does not come to the front: "};
  return Bus::connect(G_BUS_TYPE_SESSION, deadline)
      .and_then([&](const std::unique_ptr<Bus>& bus) {
        return bus->call(activate, g_variant_new("(a{sv})", nullptr), deadline);
      })
      .map([](const BusReply&) {});
}

// What the desktop session knows about processes. One thread at a time; may wait without a limit.
class Session {
 public:
  // The connection to the X server is kept, because opening it costs twice as much as the requests; nothing else is
  // kept.
  void use(const std::string& display) {
    if (m_windows && m_windows->display() == display && m_windows->isConnected()) return;
    m_windows.reset();
    m_windows = WindowsX11::open(display);
  }

  bool contains(pid_t pid) { return find(pid).has_value(); }

  Result<std::string> path(pid_t pid) {
    auto application = find(pid);
    if (!application) return none(pid, "is not an application");
    const fs::path executable = platform().processTable().path(pid).value_or("");
    if (const auto bundle = platform().bundles().bundleAt(executable);
        bundle && executable.parent_path() == fs::path(bundle->path) / "Contents/MacOS")
      return bundle->path;
    Entry entry = std::move(application->entry);
    if (!entry && !application->windows.empty()) entry = entryOfClass(m_windows->classOf(application->windows.back()));
    if (!entry) entry = entryOfUnit(unitOf(pid));
    if (!entry && !executable.empty()) entry = entryOfExecutable(executable);
    if (!entry) return none(pid, "has no desktop entry");
    return std::string(g_desktop_app_info_get_filename(entry.get()));
  }

  Result<void> activate(pid_t pid, const Deadline& deadline) {
    const auto application = find(pid, true);
    if (!application) return none(pid, "is not an application");
    // The caller no longer waits, and another window may have come to the front meanwhile.
    if (deadline.isOver()) return none(pid, "was not found in time");
    if (!application->windows.empty()) {
      m_windows->activate(application->windows);
      if (m_windows->isConnected()) return {};
      return failure("applications", EPIPE, "The connection to the X server is lost");
    }
    if (!g_desktop_app_info_get_boolean(application->entry.get(), "DBusActivatable"))
      return none(pid, "has no window that can be brought to the front");
    return activateOnBus(g_desktop_app_info_get_filename(application->entry.get()), deadline);
  }

  bool isActive(pid_t pid) {
    const WindowsX11::Window active = m_windows ? m_windows->active() : 0;
    if (active == 0) return false;
    const auto windows = windowsOf(pid);
    return std::ranges::find(windows, active) != windows.end();
  }

 private:
  struct Application {
    Entry entry;                              // that started it; null if unknown
    std::vector<WindowsX11::Window> windows;  // only looked up if they matter
  };

  std::optional<Application> find(pid_t pid, bool withWindows = false) {
    const auto process = platform().processTable().process(pid);
    if (!process || process->state == ProcessState::ZOMBIE) return std::nullopt;
    Application application;
    const std::string unit = unitOf(pid);
    if (!unit.empty() && unit != unitOf(process->parent)) application.entry = entryOfUnit(unit);
    if (!application.entry) application.entry = entryOfEnvironment(pid);
    const bool started = isForMenus(application.entry);
    if (!started || withWindows) application.windows = windowsOf(pid);
    if (!started && application.windows.empty()) return std::nullopt;
    return application;
  }

  std::vector<WindowsX11::Window> windowsOf(pid_t pid) {
    return m_windows && pid > 0 ? m_windows->of(pid) : std::vector<WindowsX11::Window>();
  }

  std::unique_ptr<WindowsX11> m_windows;
};

// All requests run on one queue, so that a server, a bus or a file system that does not answer blocks callers no longer
// than the limit, and at most one thread of this process.
class LinuxRunningApplications : public RunningApplications {
 public:
  Result<bool> contains(pid_t pid) override {
    return ask<bool>([pid](Session& session, auto) { return session.contains(pid); });
  }
  Result<std::string> path(pid_t pid) override {
    return ask<std::string>([pid](Session& session, auto) { return session.path(pid); });
  }
  Result<void> activate(pid_t pid) override {
    return ask<void>([pid](Session& session, const Deadline& deadline) { return session.activate(pid, deadline); });
  }
  Result<bool> isActive(pid_t pid) override {
    return ask<bool>([pid](Session& session, auto) { return session.isActive(pid); });
  }

 private:
  struct Shared {
    Session session;  // of the queue
    Mutex mutex;
    bool isBusy CORVANE_GUARDED_BY(mutex) = false;  // a request is running
    bool isLate CORVANE_GUARDED_BY(mutex) = false;  // and its caller has given up
  };

  template <class T>
  Result<T> ask(std::function<Result<T>(Session&, const Deadline&)> question) {
    const Deadline deadline;
    const auto late = [] { return failure("applications", ETIMEDOUT, "The desktop does not answer within 5 s"); };
    // Others need not wait behind a request that is not answered.
    if (MutexLock lock(m_shared->mutex); m_shared->isLate) return late();
    const char* const display = std::getenv("DISPLAY");
    auto promise = std::make_shared<std::promise<Result<T>>>();
    auto answer = promise->get_future();
    const bool asked = m_queue->async([shared = m_shared, display = std::string(display ? display : ""), deadline,
                                       promise = std::move(promise), question = std::move(question), late] {
      if (deadline.isOver()) return promise->set_value(late());
      begin(*shared);
      const WithoutSigpipe guard;  // the server may be gone
      shared->session.use(display);
      auto result = question(shared->session, deadline);
      end(*shared);
      promise->set_value(std::move(result));
    });
    if (!asked) return failure("applications", EAGAIN, "The system refuses a thread to ask the desktop");
    if (answer.wait_until(deadline.end()) == std::future_status::ready) return answer.get();
    MutexLock lock(m_shared->mutex);
    m_shared->isLate = m_shared->isBusy;
    return late();
  }

  static void begin(Shared& shared) {
    MutexLock lock(shared.mutex);
    shared.isBusy = true;
  }

  static void end(Shared& shared) {
    MutexLock lock(shared.mutex);
    shared.isBusy = shared.isLate = false;
  }

  const std::shared_ptr<Shared> m_shared = std::make_shared<Shared>();
  const std::unique_ptr<SerialQueue> m_queue = platform().serialQueues().make("applications", QoS::USER_INITIATED);
};

}  // namespace

template <>
std::shared_ptr<RunningApplications> makeService<RunningApplications>() {
  return std::make_shared<LinuxRunningApplications>();
}

}  // namespace corvane
