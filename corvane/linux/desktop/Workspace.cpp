#include "corvane/platform/Workspace.h"

#include <gio/gdesktopappinfo.h>

#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/desktop/IconTheme.h"

namespace corvane {

namespace {

namespace fs = std::filesystem;

// A local file, without the desktop's virtual file systems, which would ask other processes.
glib::Ptr<GFile> localFile(const std::string& path) {
  return glib::Ptr<GFile>(g_vfs_get_file_for_path(g_vfs_get_local(), path.c_str()));
}

// The absolute path without a trailing slash, if anything is there.
Result<std::string> existing(const std::string& path) {
  std::error_code error;
  fs::path absolute = fs::absolute(path, error).lexically_normal();
  if (!absolute.has_filename()) absolute = absolute.parent_path();
  if (!error && fs::exists(fs::symlink_status(absolute, error))) return absolute;
  if (!error) error = std::make_error_code(std::errc::no_such_file_or_directory);
  return failure("posix", error.value(), path + ": " + error.message());
}

std::string uriOf(const std::string& path) {
  const glib::Ptr<gchar> uri(g_file_get_uri(localFile(path).get()));
  return uri.get();
}

Result<void> openURI(glib::Waiter& wait, const std::string& uri) {
  GAsyncResult* result = wait([&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
    g_app_info_launch_default_for_uri_async(uri.c_str(), nullptr, cancellable, done, data);
  });
  GError* error = nullptr;
  if (g_app_info_launch_default_for_uri_finish(result, &error)) return {};
  return wait.failed(error, "Cannot open " + uri + ": ");
}

// The names of pictures for a file, the best match first.
std::vector<std::string> iconNames(GIcon* icon) {
  std::vector<std::string> names;
  if (icon && G_IS_THEMED_ICON(icon))
    for (const gchar* const* name = g_themed_icon_get_names(G_THEMED_ICON(icon)); *name; ++name)
      names.emplace_back(*name);
  return names;
}

bool isPicture(const fs::path& path) {
  std::error_code ignored;
  return (path.extension() == ".png" || path.extension() == ".svg") && fs::is_regular_file(path, ignored);
}

class LinuxWorkspace : public Workspace {
 public:
  Result<std::string> iconFile(const std::string& path, int size) override {
    const auto file = existing(path);
    if (!file) return file;
    std::vector<std::string> names;
    if (file->ends_with(".desktop")) {
      std::string icon = iconOfEntry(*file);
      if (isPicture(icon) && fs::path(icon).is_absolute()) return icon;
      // Entries should name the picture without an extension; many do not.
      for (const char* extension : {".png", ".svg", ".xpm"})
        if (icon.ends_with(extension)) icon.resize(icon.size() - 4);
      names.push_back(std::move(icon));
    }
    GError* error = nullptr;
    const glib::Ptr<GFileInfo> info(g_file_query_info(localFile(*file).get(), G_FILE_ATTRIBUTE_STANDARD_ICON,
                                                      G_FILE_QUERY_INFO_NONE, nullptr, &error));
    if (!info) return glib::takeError(error);
    for (std::string& name : iconNames(g_file_info_get_icon(info.get()))) names.push_back(std::move(name));
    if (auto found = theme()->find(names, size)) return std::move(*found);
    // Themes have no picture for unknown data.
    if (auto found = theme()->find({"unknown", "text-x-generic"}, size)) return std::move(*found);
    return failure("workspace", 0, "The icon theme has no picture for " + path);
  }

  Result<std::string> applicationPath(const std::string& identifier) override {
    return entry(identifier).map([](const glib::Ptr<GDesktopAppInfo>& found) {
      return std::string(g_desktop_app_info_get_filename(found.get()));
    });
  }

  Result<void> launch(const std::string& identifier, LaunchOptions options) override {
    const auto found = entry(identifier);
    if (!found) return tl::unexpected<Error>(found.error());
    const glib::Ptr<GAppLaunchContext> context(g_app_launch_context_new());
    if ((static_cast<unsigned>(options) & static_cast<unsigned>(LaunchOptions::WITHOUT_ACTIVATION)) != 0)
      for (const char* variable : {"DESKTOP_STARTUP_ID", "XDG_ACTIVATION_TOKEN"})
        g_app_launch_context_unsetenv(context.get(), variable);
    GAppInfo* application = G_APP_INFO(found->get());
    glib::Waiter wait{Deadline()};
    // For applications on the bus, the synchronous call always reports success.
    GAsyncResult* result = wait([&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
      g_app_info_launch_uris_async(application, nullptr, context.get(), cancellable, done, data);
    });
    GError* error = nullptr;
    if (g_app_info_launch_uris_finish(application, result, &error)) return {};
    return wait.failed(error, "");
  }

  Result<void> open(const std::string& pathOrURL) override {
    const glib::Ptr<gchar> scheme(g_uri_parse_scheme(pathOrURL.c_str()));
    glib::Waiter wait{Deadline()};
    if (scheme) return openURI(wait, pathOrURL);
    return existing(pathOrURL).and_then([&](const std::string& path) { return openURI(wait, uriOf(path)); });
  }

  Result<void> reveal(const std::string& path) override {
    const auto file = existing(path);
    if (!file) return tl::unexpected<Error>(file.error());
    const Deadline deadline;
    const auto shown = showItem(uriOf(*file), deadline);
    if (shown || deadline.isOver()) return shown;
    glib::Waiter wait(deadline);
    return openURI(wait, uriOf(fs::path(*file).parent_path()));
  }

 private:
  // Themes rarely change and take milliseconds to read: changes are noticed after a few seconds.
  std::shared_ptr<const IconTheme> theme() {
    const auto now = std::chrono::steady_clock::now();
    MutexLock lock(m_mutex);
    if (!m_theme || now - m_themeLoaded > std::chrono::seconds(5)) {
      m_theme = std::make_shared<const IconTheme>();
      m_themeLoaded = now;
    }
    return m_theme;
  }

  // The entry's Icon. Hidden entries and those of missing programs have one too, so the file itself is read.
  static std::string iconOfEntry(const std::string& path) {
    std::error_code ignored;
    if (!fs::is_regular_file(path, ignored)) return {};
    const auto file = glib::readKeyFile(path);
    if (!file) return {};
    const glib::Ptr<gchar> icon(g_key_file_get_locale_string(file.get(), G_KEY_FILE_DESKTOP_GROUP,
                                                             G_KEY_FILE_DESKTOP_KEY_ICON, nullptr, nullptr));
    return icon ? icon.get() : "";
  }

  static Result<glib::Ptr<GDesktopAppInfo>> entry(const std::string& identifier) {
    const std::string name = identifier.ends_with(".desktop") ? identifier : identifier + ".desktop";
    glib::Ptr<GDesktopAppInfo> found(name == ".desktop" ? nullptr : g_desktop_app_info_new(name.c_str()));
    if (!found) return failure("workspace", 0, "No application has the identifier \"" + identifier + "\"");
    const char* command = g_app_info_get_commandline(G_APP_INFO(found.get()));
    if ((!command || !*command) && !g_desktop_app_info_get_boolean(found.get(), "DBusActivatable"))
      return failure("workspace", 0, name + " does not say how to start the application");
    return found;
  }

  static Result<void> showItem(const std::string& uri, const Deadline& deadline) {
    const std::string trouble = "The file browser does not show " + uri + ": ";
    const auto bus = Bus::connect(G_BUS_TYPE_SESSION, deadline);
    if (!bus) return failure(bus.error().domain, bus.error().code, trouble + bus.error().description);
    const char* const uris[] = {uri.c_str(), nullptr};
    constexpr const char* FILE_MANAGER = "org.freedesktop.FileManager1";
    return (*bus)
        ->call({.service = FILE_MANAGER,
                .object = "/org/freedesktop/FileManager1",
                .interface = FILE_MANAGER,
                .name = "ShowItems",
                .trouble = trouble},
               g_variant_new("(^ass)", uris, ""), deadline)
        .map([](const BusReply&) {});
  }

  Mutex m_mutex;
  std::shared_ptr<const IconTheme> m_theme CORVANE_GUARDED_BY(m_mutex);
  std::chrono::steady_clock::time_point m_themeLoaded CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace

template <>
std::shared_ptr<Workspace> makeService<Workspace>() {
  return std::make_shared<LinuxWorkspace>();
}

}  // namespace corvane
