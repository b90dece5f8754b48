#include "corvane/platform/LoginItems.h"

#include <errno.h>
#include <gio/gdesktopappinfo.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "corvane/core/Files.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

constexpr const char* GROUP = G_KEY_FILE_DESKTOP_GROUP;

// The keys of a menu entry that start and name the application. The others are about menus and files; DBusActivatable
// would need an entry that is named after the application.
constexpr std::string_view TAKEN_OVER[] = {
    G_KEY_FILE_DESKTOP_KEY_NAME,     G_KEY_FILE_DESKTOP_KEY_COMMENT,
    G_KEY_FILE_DESKTOP_KEY_ICON,     G_KEY_FILE_DESKTOP_KEY_EXEC,
    G_KEY_FILE_DESKTOP_KEY_PATH,     G_KEY_FILE_DESKTOP_KEY_TRY_EXEC,
    G_KEY_FILE_DESKTOP_KEY_TERMINAL, "StartupWMClass",
};

Result<std::string> pathOf(const std::string& label) {
  return platform().folders().configuration().map(
      [&label](const std::string& folder) { return folder + "/autostart/" + label + ".desktop"; });
}

// An argument of a command, quoted by the rules for the key Exec; the key file adds the escapes of all its texts.
std::string quotedArgument(std::string_view argument) {
  std::string result = "\"";
  for (const char c : argument) {
    if (std::string_view("\"`$\\").find(c) != std::string_view::npos) result += '\\';
    if (c == '%') result += '%';
    result += c;
  }
  return result + '"';
}

// The rules forbid '=' in the path of a program, and GIO does not undo the doubling of '%' in it. Both are fine in an
// argument, and adding 0 to the niceness changes nothing.
std::string commandFor(const std::string& program) {
  return (program.find_first_of("%=") == std::string::npos ? "" : "nice -n 0 ") + quotedArgument(program);
}

void describe(GKeyFile* entry, const LoginItem& item) {
  g_key_file_set_string(entry, GROUP, G_KEY_FILE_DESKTOP_KEY_NAME, item.name.c_str());
  g_key_file_set_string(entry, GROUP, G_KEY_FILE_DESKTOP_KEY_EXEC, commandFor(item.executable).c_str());
  // Sessions ignore the entry of an application that no longer exists.
  g_key_file_set_string(entry, GROUP, G_KEY_FILE_DESKTOP_KEY_TRY_EXEC, item.executable.c_str());
}

// Takes over the application's installed entry; false if it has none with a command.
bool takeOver(GKeyFile* entry, const std::string& identifier) {
  const glib::Ptr<GDesktopAppInfo> installed(g_desktop_app_info_new((identifier + ".desktop").c_str()));
  if (!installed || !g_app_info_get_commandline(G_APP_INFO(installed.get()))) return false;
  const auto file = glib::readKeyFile(g_desktop_app_info_get_filename(installed.get()), G_KEY_FILE_KEEP_TRANSLATIONS);
  if (!file) return false;
  const glib::Ptr<gchar*> keys(g_key_file_get_keys(file.get(), GROUP, nullptr, nullptr));
  for (gchar** key = keys.get(); key && *key; ++key) {
    const std::string_view name = std::string_view(*key).substr(0, std::string_view(*key).find('['));
    if (std::ranges::find(TAKEN_OVER, name) == std::end(TAKEN_OVER)) continue;
    const glib::Ptr<gchar> value(g_key_file_get_value(file.get(), GROUP, *key, nullptr));
    if (value) g_key_file_set_value(entry, GROUP, *key, value.get());
  }
  return true;
}

class LinuxLoginItems : public LoginItems {
 public:
  Result<void> add(const LoginItem& item) override {
    const auto path = pathOf(item.label);
    if (!path) return tl::unexpected(path.error());
    const glib::Ptr<GKeyFile> entry(g_key_file_new());
    g_key_file_set_string(entry.get(), GROUP, G_KEY_FILE_DESKTOP_KEY_TYPE, G_KEY_FILE_DESKTOP_TYPE_APPLICATION);
    if (!takeOver(entry.get(), item.identifier)) {
      if (item.executable.empty() || !g_utf8_validate(item.executable.c_str(), -1, nullptr))
        return failure("loginitems", 0, *path + ": the path of the executable is unknown or not UTF-8");
      describe(entry.get(), item);
    }
    // Sessions use different keys to switch an entry on and off.
    g_key_file_set_boolean(entry.get(), GROUP, G_KEY_FILE_DESKTOP_KEY_HIDDEN, FALSE);
    g_key_file_set_boolean(entry.get(), GROUP, "X-GNOME-Autostart-enabled", TRUE);
    gsize length = 0;
    const glib::Ptr<gchar> text(g_key_file_to_data(entry.get(), &length, nullptr));
    return makeFolders(path->substr(0, path->rfind('/'))).and_then([&](const std::string&) {
      return replaceFile(*path, {text.get(), length});
    });
  }

  Result<void> remove(const std::string& label) override {
    const auto path = pathOf(label);
    if (!path) return tl::unexpected(path.error());
    if (::unlink(path->c_str()) == 0 || errno == ENOENT || errno == ENOTDIR) return {};
    return fileFailure(*path, errno);
  }
};

}  // namespace

template <>
std::shared_ptr<LoginItems> makeService<LoginItems>() {
  return std::make_shared<LinuxLoginItems>();
}

}  // namespace corvane
