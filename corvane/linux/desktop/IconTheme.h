#pragma once

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// The user's icon theme: finds pictures by name as the freedesktop Icon Theme convention says. Only PNG and SVG; how
/// large a picture is shows in the folder it lies in. Any thread.
class IconTheme {
 public:
  /// The theme that the user chose (GNOME's setting, else KDE's), else the desktop's default, else Adwaita; behind it
  /// what it inherits, hicolor, and the pictures outside themes. Folders that appear later are not seen.
  IconTheme();

  /// Path of a picture for one of these names, `size` pixels wide if there is one, else of the nearest size. A theme
  /// with a picture for any of the names takes precedence over the themes behind it; within a theme the first name
  /// counts.
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

  std::vector<std::string> m_bases;  // where themes lie, the user's first
  std::vector<std::string> m_names;  // of the themes loaded, so that circles of inheritance end
  std::vector<Theme> m_themes;
};

}  // namespace corvane
