#include <algorithm>
#include <map>
#include <string>

#include "corvane/core/Text.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/picture/Pictures.h"

namespace corvane {

namespace {

constexpr const char* XFCONF = "org.xfce.Xfconf";
constexpr const char* CHANNEL = "xfce4-desktop";

BusMethod method(const char* name, const char* replyType = "()") {
  return {XFCONF, "/org/xfce/Xfconf", XFCONF, name, replyType, G_DBUS_CALL_FLAGS_NONE, "The settings of XFCE: "};
}

// XFCE keeps a picture for each workspace of each monitor. An option of a picture is a property's path with its value's
// text, empty where it has none.
class XfcePicture : public DesktopPicture {
 public:
  Result<ScreenPicture> picture(const std::string& screen) override {
    const Deadline deadline;
    const auto bus = Bus::connect(G_BUS_TYPE_SESSION, deadline);
    if (!bus) return tl::unexpected<Error>(bus.error());
    const auto properties = present(**bus, screen, deadline);
    if (!properties) return tl::unexpected<Error>(properties.error());
    const std::string monitor = monitorOf(screen);
    ScreenPicture picture;
    for (const auto& [property, value] : *properties) {
      if (property == monitor + "workspace0" + IMAGE && value &&
          g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING))
        picture.url = urlOf(g_variant_get_string(value.get(), nullptr));
      picture.options[property] = textOf(value);
    }
    return picture;
  }

  Result<void> setPicture(const std::string& screen, const ScreenPicture& picture) override {
    const Deadline deadline;
    const auto bus = Bus::connect(G_BUS_TYPE_SESSION, deadline);
    if (!bus) return tl::unexpected<Error>(bus.error());
    auto wanted = valuesOf(**bus, screen, picture, deadline);
    if (!wanted) return tl::unexpected<Error>(wanted.error());
    for (const auto& [property, value] : *wanted) {
      const auto changed = value
                               ? (*bus)->call(method("SetProperty"),
                                              g_variant_new("(ssv)", CHANNEL, property.c_str(), value.get()), deadline)
                               : (*bus)->call(method("ResetProperty"),
                                              g_variant_new("(ssb)", CHANNEL, property.c_str(), FALSE), deadline);
      if (!changed) return tl::unexpected<Error>(changed.error());
    }
    return {};
  }

 private:
  using Properties = std::map<std::string, glib::Ptr<GVariant>>;  // by path; no value: it has none

  static constexpr const char* IMAGE = "/last-image";
  static constexpr const char* STYLE = "/image-style";
  static constexpr const char* CYCLE = "/backdrop-cycle-enable";
  static constexpr int ZOOMED = 5;
  static constexpr int MAX_WORKSPACES = 64;
  static constexpr int USUAL_WORKSPACES = 4;  // of the window manager

  static std::string monitorOf(const std::string& screen) { return "/backdrop/screen0/monitor" + screen + "/"; }

  // The properties of a monitor's workspaces, those without a value included.
  static Result<Properties> present(const Bus& bus, const std::string& screen, const Deadline& deadline) {
    const std::string monitor = monitorOf(screen);
    const auto answer =
        bus.call(method("GetAllProperties", "(a{sv})"), g_variant_new("(ss)", CHANNEL, "/backdrop"), deadline);
    // A channel that nobody has written to.
    if (!answer && !answer.error().domain.starts_with("org.xfce.Xfconf")) return tl::unexpected<Error>(answer.error());
    int count = workspaces(bus, deadline);
    Properties values;
    const auto take = [&](const char* path, glib::Ptr<GVariant> value) {
      const std::string rest = std::string(path).starts_with(monitor + "workspace")
                                   ? std::string(path).substr(monitor.size() + std::string("workspace").size())
                                   : "";
      if (const auto number = numberIn<int>(rest.substr(0, rest.find('/'))); number && *number < MAX_WORKSPACES)
        count = std::max(count, *number + 1);
      values[path] = std::move(value);
    };
    if (answer) {
      const glib::Ptr<GVariant> all(g_variant_get_child_value(answer->values.get(), 0));
      GVariantIter each;
      g_variant_iter_init(&each, all.get());
      const char* path = nullptr;
      GVariant* value = nullptr;
      while (g_variant_iter_next(&each, "{&sv}", &path, &value)) take(path, glib::Ptr<GVariant>(value));
    }
    Properties properties;
    for (int i = 0; i < count; ++i)
      for (const char* name : {IMAGE, STYLE, CYCLE}) {
        const std::string path = monitor + "workspace" + std::to_string(i) + name;
        properties[path] = std::move(values[path]);
      }
    return properties;
  }

  static int workspaces(const Bus& bus, const Deadline& deadline) {
    const auto answer =
        bus.call(method("GetProperty", "(v)"), g_variant_new("(ss)", "xfwm4", "/general/workspace_count"), deadline);
    if (!answer) return USUAL_WORKSPACES;
    GVariant* count = nullptr;
    g_variant_get(answer->values.get(), "(v)", &count);
    const glib::Ptr<GVariant> owner(count);
    if (!g_variant_is_of_type(count, G_VARIANT_TYPE_INT32)) return USUAL_WORKSPACES;
    return std::clamp(g_variant_get_int32(count), 1, MAX_WORKSPACES);
  }

  static Result<Properties> valuesOf(const Bus& bus, const std::string& screen, const ScreenPicture& picture,
                                     const Deadline& deadline) {
    if (!picture.options.empty()) {
      Properties values;
      for (const auto& [property, _] : picture.options) values[property] = valueOf(option(picture, property));
      return values;
    }
    const auto path = pathOf(picture.url);
    if (!path) return tl::unexpected<Error>(path.error());
    auto values = present(bus, screen, deadline);
    if (!values) return values;
    for (auto& [property, value] : *values)
      value.reset(g_variant_ref_sink(property.ends_with(IMAGE)   ? g_variant_new_string(path->c_str())
                                     : property.ends_with(STYLE) ? g_variant_new_int32(ZOOMED)
                                                                 : g_variant_new_boolean(FALSE)));
    return values;
  }
};

}  // namespace

std::shared_ptr<DesktopPicture> xfcePicture() {
  return std::make_shared<XfcePicture>();
}

}  // namespace corvane
