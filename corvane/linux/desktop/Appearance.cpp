#include "corvane/platform/Appearance.h"

#include <string>
#include <string_view>
#include <utility>

#include "corvane/core/MainQueue.h"
#include "corvane/core/Thread.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/bus/Bus.h"

namespace corvane {

namespace {

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
constexpr const char* PORTAL = "org.freedesktop.portal.Desktop";
constexpr const char* SETTINGS = "org.freedesktop.portal.Settings";
constexpr const char* APPEARANCE = "org.freedesktop.appearance";
constexpr const char* INTERFACE = "org.gnome.desktop.interface";  // of portals that know no reduced motion

// On the main queue, but for the connecting, which may take its time.
class PortalWatch : public std::enable_shared_from_this<PortalWatch> {
 public:
  explicit PortalWatch(std::function<void(DesktopAppearance)> changed) : m_changed(std::move(changed)) {}

  void start() {
    (void)IsMainQueue();  // creates the queue on its own thread rather than the other one
    // Without a thread for it, nothing is known of the desktop.
    (void)startDetached([weak = weak_from_this()] {
      auto connected = Bus::connect(G_BUS_TYPE_SESSION, Deadline());
      if (!connected) return;
      main_post([weak, bus = std::make_shared<std::unique_ptr<Bus>>(std::move(*connected))] {
        if (const auto self = weak.lock()) self->listen(std::move(*bus));
      });
    });
  }

 private:
  void listen(std::unique_ptr<Bus> bus) {
    m_bus = std::move(bus);
    for (const char* name : {APPEARANCE, INTERFACE})
      m_bus->subscribe({PORTAL, SETTINGS, "SettingChanged", "(ssv)", name}, [this](GVariant* arguments) {
        const char* key = nullptr;
        GVariant* value = nullptr;
        g_variant_get(arguments, "(&s&sv)", nullptr, &key, &value);
        if (take(key, glib::Ptr<GVariant>(value))) tell();
      });
    m_bus->watchName(PORTAL, [this](const std::string& owner) {
      if (!owner.empty()) read();
    });
    read();
  }

  void read() {
    const char* const wanted[] = {APPEARANCE, INTERFACE, nullptr};
    m_bus->callLater({PORTAL, "/org/freedesktop/portal/desktop", SETTINGS, "ReadAll", "(a{sa{sv}})"},
                     g_variant_new("(^as)", wanted), Deadline(START_LIMIT),
                     [weak = weak_from_this()](const Result<BusReply>& reply) {
                       if (const auto self = weak.lock(); self && reply) self->takeAll(reply->values.get());
                     });
  }

  void takeAll(GVariant* values) {
    const glib::Ptr<GVariant> namespaces(g_variant_get_child_value(values, 0));
    bool isKnown = false;
    for (const auto& [name, key] : {std::pair(APPEARANCE, SCHEME), std::pair(APPEARANCE, CONTRAST),
                                    std::pair(APPEARANCE, MOTION), std::pair(INTERFACE, ANIMATIONS)}) {
      const glib::Ptr<GVariant> settings(g_variant_lookup_value(namespaces.get(), name, G_VARIANT_TYPE_VARDICT));
      if (settings) isKnown |= take(key, glib::Ptr<GVariant>(g_variant_lookup_value(settings.get(), key, nullptr)));
    }
    if (isKnown) tell();
  }

  void tell() {
    m_appearance.reducedMotion = m_reducesMotion || !m_animates;
    m_changed(m_appearance);
  }

  // Whether this is a setting of the appearance; a value that is none of the documented ones counts as no preference.
  bool take(std::string_view key, const glib::Ptr<GVariant>& value) {
    if (key == ANIMATIONS && value && g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN)) {
      m_animates = g_variant_get_boolean(value.get());
      return true;
    }
    if (!value || !g_variant_is_of_type(value.get(), G_VARIANT_TYPE_UINT32)) return false;
    const guint32 number = g_variant_get_uint32(value.get());
    if (key == SCHEME)
      m_appearance.scheme = number == 1 ? ColorScheme::DARK : number == 2 ? ColorScheme::LIGHT : ColorScheme::UNKNOWN;
    else if (key == CONTRAST)
      m_appearance.highContrast = number == 1;
    else if (key == MOTION)
      m_reducesMotion = number == 1;
    else
      return false;
    return true;
  }

  static constexpr const char* SCHEME = "color-scheme";
  static constexpr const char* CONTRAST = "contrast";
  static constexpr const char* MOTION = "reduced-motion";
  static constexpr const char* ANIMATIONS = "enable-animations";
  static constexpr std::chrono::seconds START_LIMIT{30};  // the bus may have to start the portal

  const std::function<void(DesktopAppearance)> m_changed;
  DesktopAppearance m_appearance;
  bool m_reducesMotion = false;
  bool m_animates = true;
  std::unique_ptr<Bus> m_bus;
};

class PortalAppearance : public Appearance {
 public:
  std::shared_ptr<void> watch(std::function<void(DesktopAppearance)> changed) override {
    auto watch = std::make_shared<PortalWatch>(std::move(changed));
    watch->start();
    return watch;
  }
};

}  // namespace

template <>
std::shared_ptr<Appearance> makeService<Appearance>() {
  return std::make_shared<PortalAppearance>();
}

}  // namespace corvane
