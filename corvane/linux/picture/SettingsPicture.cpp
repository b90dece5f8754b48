#include <string>
#include <utility>
#include <vector>

#include "corvane/linux/picture/Pictures.h"

namespace corvane {

namespace {

// Desktops that keep the picture in GSettings. An option of a picture is a key with its value's text, empty where the
// user has set none.
class SettingsPicture : public DesktopPicture {
 public:
  // `pictures`: the keys for the file, as a URL or as a path; those that a version of the desktop lacks are left out.
  SettingsPicture(std::string schema, std::vector<std::string> pictures, bool isURL)
      : m_schema(std::move(schema)), m_pictures(std::move(pictures)), m_isURL(isURL) {}

  Result<ScreenPicture> picture(const std::string&) override {
    const auto settings = open();
    if (!settings) return tl::unexpected<Error>(settings.error());
    const glib::Ptr<gchar> file(g_settings_get_string(settings->get(), m_pictures[0].c_str()));
    ScreenPicture picture{m_isURL ? file.get() : urlOf(file.get())};
    for (const std::string& key : keys(settings->get())) picture.options[key] = userText(settings->get(), key);
    return picture;
  }

  Result<void> setPicture(const std::string&, const ScreenPicture& picture) override {
    const auto settings = open();
    if (!settings) return tl::unexpected<Error>(settings.error());
    const auto wanted = valuesOf(picture, keys(settings->get()));
    if (!wanted) return tl::unexpected<Error>(wanted.error());
    g_settings_delay(settings->get());  // until all are set
    for (const auto& [key, value] : *wanted) {
      if (!value)
        g_settings_reset(settings->get(), key.c_str());
      else if (!g_settings_set_value(settings->get(), key.c_str(), value.get()))
        return refused(key);
    }
    g_settings_apply(settings->get());
    g_settings_sync();
    // A database that cannot be written to only drops the change.
    for (const auto& [key, value] : *wanted)
      if (userText(settings->get(), key) != textOf(value)) return refused(key);
    return {};
  }

 private:
  using Values = std::vector<std::pair<std::string, glib::Ptr<GVariant>>>;

  static constexpr const char* OPTIONS = "picture-options";

  Result<glib::Ptr<GSettings>> open() const {
    GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
    const glib::Ptr<GSettingsSchema> schema(source ? g_settings_schema_source_lookup(source, m_schema.c_str(), TRUE)
                                                   : nullptr);
    if (!schema) return noPictures("there are no settings " + m_schema);
    return glib::Ptr<GSettings>(g_settings_new_full(schema.get(), nullptr, nullptr));
  }

  std::vector<std::string> keys(GSettings* settings) const {
    GSettingsSchema* schema = nullptr;
    g_object_get(settings, "settings-schema", &schema, nullptr);
    const glib::Ptr<GSettingsSchema> owner(schema);
    std::vector<std::string> keys = {OPTIONS};
    for (const std::string& key : m_pictures)
      if (g_settings_schema_has_key(schema, key.c_str())) keys.push_back(key);
    return keys;
  }

  static std::string userText(GSettings* settings, const std::string& key) {
    return textOf(glib::Ptr<GVariant>(g_settings_get_user_value(settings, key.c_str())));
  }

  // What the keys become; no value: the default one.
  Result<Values> valuesOf(const ScreenPicture& picture, const std::vector<std::string>& keys) const {
    Values values;
    if (!picture.options.empty()) {
      for (const std::string& key : keys) values.emplace_back(key, valueOf(option(picture, key)));
      return values;
    }
    const auto file = m_isURL ? Result<std::string>(picture.url) : pathOf(picture.url);
    if (!file) return tl::unexpected<Error>(file.error());
    for (const std::string& key : keys) {
      const char* const text = key == OPTIONS ? "zoom" : file->c_str();
      values.emplace_back(key, g_variant_ref_sink(g_variant_new_string(text)));
    }
    return values;
  }

  tl::unexpected<Error> refused(const std::string& key) const {
    return failure("desktop", EACCES, m_schema + ": " + key + " cannot be changed");
  }

  const std::string m_schema;
  const std::vector<std::string> m_pictures;
  const bool m_isURL;
};

}  // namespace

std::shared_ptr<DesktopPicture> gnomePicture() {
  return std::make_shared<SettingsPicture>("org.gnome.desktop.background",
                                           std::vector<std::string>{"picture-uri", "picture-uri-dark"}, true);
}

std::shared_ptr<DesktopPicture> matePicture() {
  return std::make_shared<SettingsPicture>("org.mate.background", std::vector<std::string>{"picture-filename"}, false);
}

std::shared_ptr<DesktopPicture> cinnamonPicture() {
  return std::make_shared<SettingsPicture>("org.cinnamon.desktop.background", std::vector<std::string>{"picture-uri"},
                                           true);
}

}  // namespace corvane
