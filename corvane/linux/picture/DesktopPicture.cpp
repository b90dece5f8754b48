#include "corvane/platform/DesktopPicture.h"

#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "corvane/core/Text.h"
#include "corvane/linux/picture/Pictures.h"

namespace corvane {

namespace {

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

class NoDesktopPicture : public DesktopPicture {
 public:
  Result<ScreenPicture> picture(const std::string&) override { return none(); }
  Result<void> setPicture(const std::string&, const ScreenPicture&) override { return none(); }

 private:
  static tl::unexpected<Error> none() { return noPictures("there is no desktop"); }
};

}  // namespace

tl::unexpected<Error> noPictures(const std::string& why) {
  const std::string desktop = variable("XDG_CURRENT_DESKTOP");
  return failure("desktop", ENOTSUP,
                 "Pictures of the desktop" + (desktop.empty() ? "" : " " + desktop) + " are not supported: " + why);
}

std::string urlOf(const std::string& path) {
  const glib::Ptr<gchar> url(g_filename_to_uri(path.c_str(), nullptr, nullptr));
  return url ? url.get() : "";
}

Result<std::string> pathOf(const std::string& url) {
  GError* error = nullptr;
  const glib::Ptr<gchar> path(g_filename_from_uri(url.c_str(), nullptr, &error));
  if (!path) return glib::takeError(error);
  return path.get();
}

std::string option(const ScreenPicture& picture, std::string_view key) {
  const auto found = picture.options.find(key);
  const std::string* const text = found == picture.options.end() ? nullptr : found->second.asString();
  return text ? *text : "";
}

std::string textOf(const glib::Ptr<GVariant>& value) {
  return value ? glib::Ptr<gchar>(g_variant_print(value.get(), TRUE)).get() : "";
}

glib::Ptr<GVariant> valueOf(const std::string& text) {
  GVariant* const value = g_variant_parse(nullptr, text.data(), text.data() + text.size(), nullptr, nullptr);
  return glib::Ptr<GVariant>(value ? g_variant_take_ref(value) : nullptr);
}

template <>
std::shared_ptr<DesktopPicture> makeService<DesktopPicture>() {
  if (access("/.flatpak-info", F_OK) == 0) return portalPicture();  // the desktop's settings are out of reach
  std::istringstream desktops(upperCasedAscii(variable("XDG_CURRENT_DESKTOP")));
  for (std::string desktop; std::getline(desktops, desktop, ':');) {
    if (desktop == "GNOME") return gnomePicture();
    if (desktop == "MATE") return matePicture();
    if (desktop == "X-CINNAMON" || desktop == "CINNAMON") return cinnamonPicture();
    if (desktop == "XFCE") return xfcePicture();
    if (desktop == "LXQT") return lxqtPicture();
    if (desktop == "KDE") return plasmaPicture();
  }
  if (!variable("WAYLAND_DISPLAY").empty()) return portalPicture();
  if (!variable("DISPLAY").empty()) return rootPicture();
  return std::make_shared<NoDesktopPicture>();
}

}  // namespace corvane
