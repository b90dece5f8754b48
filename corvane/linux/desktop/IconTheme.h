#pragma once

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// The user's icon theme: finds pictures by name according to the freedesktop Icon Theme specification. Only PNG and
/// SVG; the size of a picture is that of its folder. Any thread.
class IconTheme {
 public:
  /// The theme that the user chose (in GNOME's settings, otherwise in KDE's), otherwise the desktop's default,
  /// otherwise Adwaita; then the themes that it inherits, hicolor, and the pictures outside themes. Folders that appear
  /// later are not seen.
  IconTheme();

  /// Path of a picture for one of these names, `size` pixels wide if there is one, otherwise of the nearest size. A
  /// theme with a picture for any of the names takes precedence over the themes after it; within a theme, names are
  /// tried in order.
  std::optional<std::string> find(const std::vector<std::string>& names, int size) const;

 private:
  // One folder of a theme. Sizes are points, `scale` is pixels to a point.
  struct Folder {
    std::string path;
    int smallest;
    int largest;
    int threshold;
    int scale;

    bool matches(int size) const;
    int distance(int size) const;
  };
  using Theme = std::vector<Folder>;

  void load(const std::string& name);
  static std::optional<std::string> find(const Theme& theme, const std::string& name, int size);

  std::vector<std::string> m_bases;  // the folders of themes, the user's first
  std::vector<std::string> m_names;  // of the loaded themes, so that cycles of inheritance end
  std::vector<Theme> m_themes;
};

}  // namespace corvane
