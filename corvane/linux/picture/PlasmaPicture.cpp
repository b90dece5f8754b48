#include <string>

#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/picture/Pictures.h"

namespace corvane {

namespace {

// A text as a literal of a script.
std::string literal(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x20 || c == '"' || c == '\\') {
      constexpr const char* DIGITS = "0123456789abcdef";
      result += std::string("\\u00") + DIGITS[code >> 4] + DIGITS[code & 15];
    } else {
      result += c;
    }
  }
  return result + '"';
}

// Plasma runs scripts in its shell: https://develop.kde.org/docs/plasma/scripting/. Its screen 0 is the main one. A
// desktop shows what its plugin gives, here the one for single pictures, whose picture is kept besides.
class PlasmaPicture : public DesktopPicture {
 public:
  Result<ScreenPicture> picture(const std::string&) override {
    const auto printed = run({});
    if (!printed) return tl::unexpected<Error>(printed.error());
    const auto end = printed->find('\n');
    const std::string plugin = printed->substr(0, end);
    const std::string image =
        end == std::string::npos ? "" : printed->substr(end + 1, printed->find('\n', end + 1) - end - 1);
    return ScreenPicture{plugin == PICTURES ? image : "", {{"plugin", plugin}, {"image", image}}};
  }

  Result<void> setPicture(const std::string&, const ScreenPicture& picture) override {
    const bool isNew = picture.options.empty();
    const std::string plugin = isNew ? PICTURES : option(picture, "plugin");
    const std::string image = isNew ? picture.url : option(picture, "image");
    const auto printed =
        run("d.writeConfig(\"Image\", " + literal(image) + "); d.wallpaperPlugin = " + literal(plugin) + "; ");
    if (!printed) return tl::unexpected<Error>(printed.error());
    if (*printed != plugin + '\n' + image + '\n') return failure("desktop", EIO, "Plasma does not take " + image);
    return {};
  }

 private:
  static constexpr const char* PICTURES = "org.kde.image";

  // Runs a script that changes the desktop `d`; the plugin and the picture afterwards, a line each.
  static Result<std::string> run(const std::string& change) {
    const std::string script = std::string("var d = desktopForScreen(0); d.currentConfigGroup = [\"Wallpaper\", \"") +
                               PICTURES + "\", \"General\"]; " + change +
                               "print(d.wallpaperPlugin + \"\\n\" + d.readConfig(\"Image\", \"\") + \"\\n\");";
    const Deadline deadline;
    const auto bus = Bus::connect(G_BUS_TYPE_SESSION, deadline);
    if (!bus) return tl::unexpected<Error>(bus.error());
    const auto answer = (*bus)->call({"org.kde.plasmashell", "/PlasmaShell", "org.kde.PlasmaShell", "evaluateScript",
                                      "(s)", G_DBUS_CALL_FLAGS_NO_AUTO_START, "Plasma: "},
                                     g_variant_new("(s)", script.c_str()), deadline);
    if (!answer) return tl::unexpected<Error>(answer.error());
    const char* printed = nullptr;
    g_variant_get(answer->values.get(), "(&s)", &printed);
    return printed;
  }
};

}  // namespace

std::shared_ptr<DesktopPicture> plasmaPicture() {
  return std::make_shared<PlasmaPicture>();
}

}  // namespace corvane
