#include <array>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/picture/Pictures.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

constexpr const char* FILE_MANAGER = "org.pcmanfm.PCManFM";
constexpr const char* APPLICATION = "org.pcmanfm.Application";

// A text from the file manager's settings, where a character that is not in ASCII is written as "\xe4", one beyond
// U+FFFF as a pair of surrogates, and a text with commas in quotation marks.
std::string unescaped(std::string_view text) {
  if (text.size() > 1 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
  std::string result;
  gunichar high = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size() || text[++i] != 'x') {
      result += text[i];
      continue;
    }
    gunichar unit = 0;
    while (i + 1 < text.size() && g_ascii_isxdigit(text[i + 1]) && unit < 0x1000)
      unit = unit * 16 + static_cast<gunichar>(g_ascii_xdigit_value(text[++i]));
    if (unit >= 0xD800 && unit < 0xDC00) {
      high = unit;
      continue;
    }
    if (unit >= 0xDC00 && unit < 0xE000) unit = 0x10000 + ((high & 0x3FF) << 10) + (unit & 0x3FF);
    std::array<char, 6> bytes{};
    result.append(bytes.data(), static_cast<std::size_t>(g_unichar_to_utf8(unit, bytes.data())));
  }
  return result;
}

struct DesktopSettings {
  std::string path;
  std::string mode;
};

// The user's file, or else the one of the system.
DesktopSettings readSettings() {
  std::vector<std::string> folders = {platform().folders().configuration().value_or("")};
  for (const gchar* const* folder = g_get_system_config_dirs(); *folder; ++folder) folders.emplace_back(*folder);
  DesktopSettings settings;
  for (const std::string& folder : folders) {
    std::ifstream file(folder + "/pcmanfm-qt/lxqt/settings.conf");
    if (!file) continue;
    std::string group;
    for (std::string line; std::getline(file, line);) {
      const auto equals = line.find('=');
      if (line.starts_with('['))
        group = line;
      else if (group == "[Desktop]" && line.substr(0, equals) == "Wallpaper")
        settings.path = unescaped(line.substr(equals + 1));
      else if (group == "[Desktop]" && line.substr(0, equals) == "WallpaperMode")
        settings.mode = line.substr(equals + 1);
    }
    break;
  }
  return settings;
}

// The file manager of LXQt draws the desktop. It answers without telling whether it has taken a picture, but writes its
// settings first. It keeps the user's mode, whatever mode it is given.
class LxqtPicture : public DesktopPicture {
 public:
  Result<ScreenPicture> picture(const std::string&) override {
    const auto draws = call("org.freedesktop.DBus.Properties", "Get", "(v)",
                            g_variant_new("(ss)", APPLICATION, "desktopManagerEnabled"));
    if (!draws) return tl::unexpected<Error>(draws.error());
    const DesktopSettings settings = readSettings();
    return ScreenPicture{urlOf(settings.path), {{"mode", settings.mode}}};
  }

  Result<void> setPicture(const std::string&, const ScreenPicture& picture) override {
    const auto path = pathOf(picture.url);
    if (!path) return tl::unexpected<Error>(path.error());
    const std::string mode = picture.options.empty() ? "zoom" : option(picture, "mode");
    const auto set = call(APPLICATION, "setWallpaper", "()", g_variant_new("(ss)", path->c_str(), mode.c_str()));
    if (!set) return tl::unexpected<Error>(set.error());
    const DesktopSettings settings = readSettings();
    if (settings.path != *path) return failure("desktop", EIO, "The file manager does not take " + *path);
    if (picture.options.empty() && settings.mode == "none")
      return failure("desktop", EIO, "The user wants a plain colour as the desktop");
    return {};
  }

 private:
  static Result<BusReply> call(const char* interface, const char* name, const char* replyType, GVariant* arguments) {
    const glib::Ptr<GVariant> owner(g_variant_ref_sink(arguments));
    const Deadline deadline;
    const auto bus = Bus::connect(G_BUS_TYPE_SESSION, deadline);
    if (!bus) return tl::unexpected<Error>(bus.error());
    return (*bus)->call({FILE_MANAGER, "/Application", interface, name, replyType, G_DBUS_CALL_FLAGS_NO_AUTO_START,
                         "The desktop of LXQt: "},
                        arguments, deadline);
  }
};

}  // namespace

std::shared_ptr<DesktopPicture> lxqtPicture() {
  return std::make_shared<LxqtPicture>();
}

}  // namespace corvane
