#include <optional>
#include <string>

#include "corvane/core/Files.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/picture/Pictures.h"

namespace corvane {

namespace {

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Wallpaper.html
constexpr const char* PORTAL = "org.freedesktop.portal.Desktop";
constexpr const char* OBJECT = "/org/freedesktop/portal/desktop";
constexpr const char* WALLPAPER = "org.freedesktop.portal.Wallpaper";

// The portal asks the user, the first time at least, and does not tell the present picture.
class PortalPicture : public DesktopPicture {
 public:
  Result<ScreenPicture> picture(const std::string&) override {
    const Deadline deadline;
    const auto bus = Bus::connect(G_BUS_TYPE_SESSION, deadline);
    if (!bus) return noPictures(bus.error().description);
    const auto version = (*bus)->call({PORTAL, OBJECT, "org.freedesktop.DBus.Properties", "Get", "(v)"},
                                      g_variant_new("(ss)", WALLPAPER, "version"), deadline);
    if (!version) return noPictures(version.error().description);
    return failure("desktop", ENOTSUP, "The desktop portal does not tell the present picture: it cannot be put back");
  }

  Result<void> setPicture(const std::string&, const ScreenPicture& picture) override {
    const auto file = pathOf(picture.url).and_then(openForReading);
    if (!file) return tl::unexpected<Error>(file.error());
    const glib::Ptr<GMainContext> context(g_main_context_new());
    g_main_context_push_thread_default(context.get());
    auto result = request(file->get(), context.get());
    while (g_main_context_iteration(context.get(), FALSE)) {
    }
    g_main_context_pop_thread_default(context.get());
    return result;
  }

 private:
  // The answer comes as a signal, perhaps before the call returns. It is the only one on this connection.
  static Result<void> request(int file, GMainContext* context) {
    const Deadline deadline;
    const auto bus = Bus::connect(G_BUS_TYPE_SESSION, deadline);
    if (!bus) return noPictures(bus.error().description);
    std::optional<guint32> response;
    (*bus)->subscribe({PORTAL, "org.freedesktop.portal.Request", "Response", "(ua{sv})"},
                      [&](GVariant* arguments) { g_variant_get_child(arguments, 0, "u", &response.emplace()); });
    const glib::Ptr<GUnixFDList> descriptors(g_unix_fd_list_new());
    if (g_unix_fd_list_append(descriptors.get(), file, nullptr) < 0) return systemFailure(EMFILE);
    GVariantDict options;
    g_variant_dict_init(&options, nullptr);
    g_variant_dict_insert(&options, "show-preview", "b", FALSE);
    g_variant_dict_insert(&options, "set-on", "s", "background");
    const auto asked =
        (*bus)->call({PORTAL, OBJECT, WALLPAPER, "SetWallpaperFile", "(o)"},
                     g_variant_new("(sh@a{sv})", "", 0, g_variant_dict_end(&options)), deadline, descriptors.get());
    if (!asked) return noPictures(asked.error().description);
    const auto limit = glib::timeout(context, static_cast<guint>(deadline.msec()), [] {});
    while (!response && !deadline.isOver()) g_main_context_iteration(context, TRUE);
    g_source_destroy(limit.get());
    if (!response) return timedOut("The desktop portal: ");
    if (*response != 0) return failure("desktop", EACCES, "The user does not want the picture");
    return {};
  }
};

}  // namespace

std::shared_ptr<DesktopPicture> portalPicture() {
  return std::make_shared<PortalPicture>();
}

}  // namespace corvane
