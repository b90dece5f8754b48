#include "corvane/linux/desktop/IconTheme.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

using KeyFile = glib::Ptr<GKeyFile>;

std::string text(const KeyFile& file, const std::string& group, const char* key) {
  const glib::Ptr<gchar> value(g_key_file_get_string(file.get(), group.c_str(), key, nullptr));
  return value ? value.get() : "";
}

std::vector<std::string> list(const KeyFile& file, const char* key) {
  std::vector<std::string> items;
  g_key_file_set_list_separator(file.get(), ',');
  const glib::Ptr<gchar*> found(g_key_file_get_string_list(file.get(), "Icon Theme", key, nullptr, nullptr));
  for (gchar** item = found.get(); item && *item; ++item)
    if (*g_strstrip(*item)) items.emplace_back(*item);
  return items;
}

// Limits numbers so that their sums and products cannot overflow.
int number(const KeyFile& file, const std::string& group, const char* key, int fallback) {
  GError* error = nullptr;
  const int value = g_key_file_get_integer(file.get(), group.c_str(), key, &error);
  if (!error) return std::clamp(value, 0, 10'000);
  g_error_free(error);
  return fallback;
}

// GNOME's setting: the user's choice, or the desktop's default.
std::string gnomeTheme(bool chosen) {
  GSettingsSchemaSource* source = g_settings_schema_source_get_default();
  const glib::Ptr<GSettingsSchema> schema(
      source ? g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE) : nullptr);
  if (!schema || !g_settings_schema_has_key(schema.get(), "icon-theme")) return {};
  const glib::Ptr<GSettings> settings(g_settings_new_full(schema.get(), nullptr, nullptr));
  const glib::Ptr<GVariant> value(chosen ? g_settings_get_user_value(settings.get(), "icon-theme")
                                         : g_settings_get_value(settings.get(), "icon-theme"));
  return value && g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING) ? g_variant_get_string(value.get(), nullptr)
                                                                           : "";
}

// The user's folder and those of the system. Relative paths are ignored.
std::vector<std::string> foldersOf(const Result<std::string>& users, const gchar* const* systems) {
  std::vector<std::string> folders;
  if (users) folders.push_back(*users);
  for (; *systems; ++systems)
    if (**systems == '/') folders.emplace_back(*systems);
  return folders;
}

std::string kdeTheme() {
  for (const std::string& folder : foldersOf(platform().folders().configuration(), g_get_system_config_dirs())) {
    const KeyFile file = glib::readKeyFile(folder + "/kdeglobals");
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

// Names come from foreign files; they must not lead out of the folders.
bool isFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

}  // namespace

IconTheme::IconTheme() {
  Folders& users = platform().folders();
  if (const auto home = users.home()) m_bases.push_back(*home + "/.icons");
  for (const std::string& folder : foldersOf(users.applicationSupport(), g_get_system_data_dirs()))
    m_bases.push_back(folder + "/icons");

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
    if (!index) index = glib::readKeyFile(base + "/" + name + "/index.theme");
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
  // Every theme inherits hicolor, which comes last even if a theme names it.
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
