#include "corvane/linux/desktop/IconTheme.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "corvane/linux/GLibSupport.h"

namespace corvane {

namespace {

struct FreeKeyFile {
  void operator()(GKeyFile* file) const { g_key_file_unref(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, FreeKeyFile>;

KeyFile readKeyFile(const std::string& path) {
  KeyFile file(g_key_file_new());
  g_key_file_set_list_separator(file.get(), ',');
  if (!g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr)) return nullptr;
  return file;
}

std::string text(const KeyFile& file, const std::string& group, const char* key) {
  const glib::Ptr<gchar> value(g_key_file_get_string(file.get(), group.c_str(), key, nullptr));
  return value ? value.get() : "";
}

std::vector<std::string> list(const KeyFile& file, const char* key) {
  std::vector<std::string> items;
  gchar** found = g_key_file_get_string_list(file.get(), "Icon Theme", key, nullptr, nullptr);
  for (gchar** item = found; item && *item; ++item)
    if (*g_strstrip(*item)) items.emplace_back(*item);
  g_strfreev(found);
  return items;
}

// Numbers stay where sums and products of them are safe.
int number(const KeyFile& file, const std::string& group, const char* key, int fallback) {
  GError* error = nullptr;
  const int value = g_key_file_get_integer(file.get(), group.c_str(), key, &error);
  if (!error) return std::clamp(value, 0, 10'000);
  g_error_free(error);
  return fallback;
}

// GNOME's setting: what the user chose, or the default that the desktop came with.
std::string gnomeTheme(bool chosen) {
  const auto unref = [](GSettingsSchema* schema) { g_settings_schema_unref(schema); };
  GSettingsSchemaSource* source = g_settings_schema_source_get_default();
  const std::unique_ptr<GSettingsSchema, decltype(unref)> schema(
      source ? g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE) : nullptr, unref);
  if (!schema || !g_settings_schema_has_key(schema.get(), "icon-theme")) return {};
  const glib::Ptr<GSettings> settings(g_settings_new_full(schema.get(), nullptr, nullptr));
  const glib::Ptr<GVariant> value(chosen ? g_settings_get_user_value(settings.get(), "icon-theme")
                                         : g_settings_get_value(settings.get(), "icon-theme"));
  return value && g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING) ? g_variant_get_string(value.get(), nullptr)
                                                                           : "";
}

std::string kdeTheme() {
  std::vector<std::string> folders = {g_get_user_config_dir()};
  for (const gchar* const* folder = g_get_system_config_dirs(); *folder; ++folder) folders.emplace_back(*folder);
  for (const std::string& folder : folders) {
    const KeyFile file = readKeyFile(folder + "/kdeglobals");
    if (std::string theme = file ? text(file, "Icons", "Theme") : ""; !theme.empty()) return theme;
  }
  return {};
}

std::optional<std::string> picture(const std::string& folder, const std::string& name) {
  for (const char* extension : {".png", ".svg"}) {
    std::string path = folder + "/" + name + extension;
    std::error_code ignored;
    if (access(path.c_str(), R_OK) == 0 && std::filesystem::is_regular_file(path, ignored)) return path;
  }
  return std::nullopt;
}

// Names come from files of others; they must not lead out of the folders.
bool isFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

}  // namespace

IconTheme::IconTheme()
    : m_bases{std::string(g_get_home_dir()) + "/.icons", std::string(g_get_user_data_dir()) + "/icons"} {
  for (const gchar* const* folder = g_get_system_data_dirs(); *folder; ++folder)
    m_bases.push_back(std::string(*folder) + "/icons");

  std::string name = gnomeTheme(true);
  if (name.empty()) name = kdeTheme();
  if (name.empty()) name = gnomeTheme(false);
  load(name.empty() ? "Adwaita" : name);
  load("hicolor");

  m_bases.emplace_back("/usr/share/pixmaps");
}

void IconTheme::load(const std::string& name) {
  if (!isFileName(name) || std::ranges::find(m_names, name) != m_names.end()) return;
  m_names.push_back(name);
  KeyFile index;
  for (const std::string& base : m_bases)
    if (!index) index = readKeyFile(base + "/" + name + "/index.theme");
  if (!index) return;

  Theme& theme = m_themes.emplace_back();
  std::vector<std::string> groups = list(index, "Directories");
  std::ranges::move(list(index, "ScaledDirectories"), std::back_inserter(groups));
  for (const std::string& group : groups) {
    const int size = number(index, group, "Size", 0);
    if (size == 0) continue;
    const std::string type = text(index, group, "Type");
    const bool scalable = type == "Scalable";
    Folder folder{.path = {},
                  .smallest = scalable ? number(index, group, "MinSize", size) : size,
                  .largest = scalable ? number(index, group, "MaxSize", size) : size,
                  .threshold = scalable || type == "Fixed" ? 0 : number(index, group, "Threshold", 2),
                  .scale = std::max(1, number(index, group, "Scale", 1))};
    for (const std::string& base : m_bases) {
      folder.path = base + "/" + name + "/" + group;
      std::error_code ignored;
      if (std::filesystem::is_directory(folder.path, ignored)) theme.push_back(folder);
    }
  }
  // Every theme inherits hicolor, which goes last even if one names it.
  for (const std::string& parent : list(index, "Inherits"))
    if (parent != "hicolor") load(parent);
}

bool IconTheme::Folder::matches(int size) const {
  return scale == 1 && size >= smallest - threshold && size <= largest + threshold;
}

int IconTheme::Folder::distance(int size) const {
  return std::max({0, smallest * scale - size, size - largest * scale});
}

std::optional<std::string> IconTheme::find(const Theme& theme, const std::string& name, int size) {
  std::optional<std::string> nearest;
  int least = INT_MAX;
  for (const Folder& folder : theme) {
    const bool matches = folder.matches(size);
    const int distance = folder.distance(size);
    if (!matches && distance >= least) continue;
    if (auto found = picture(folder.path, name)) {
      if (matches) return found;
      nearest = std::move(found);
      least = distance;
    }
  }
  return nearest;
}

std::optional<std::string> IconTheme::find(const std::vector<std::string>& names, int size) const {
  for (const Theme& theme : m_themes)
    for (const std::string& name : names)
      if (auto found = isFileName(name) ? find(theme, name, size) : std::nullopt) return found;
  for (const std::string& name : names)
    for (const std::string& base : m_bases)
      if (auto found = isFileName(name) ? picture(base, name) : std::nullopt) return found;
  return std::nullopt;
}

}  // namespace corvane
