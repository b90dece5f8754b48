#pragma once

#include <optional>
#include <string>
#include <utility>

#include "corvane/platform/Export.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// The components of a colour, each from 0 to 1 in the sRGB colour space, not premultiplied with alpha. Values outside
/// that range are kept as they are.
struct RGBA {
  double red = 0;    ///< 0 … 1
  double green = 0;  ///< 0 … 1
  double blue = 0;   ///< 0 … 1
  double alpha = 1;  ///< 0 (transparent) … 1 (opaque)

  bool operator==(const RGBA&) const = default;
};

/// A colour that is independent of any toolkit: either its components, or the name of a colour that only a theme can
/// turn into components ("window background"). A plain value, initially opaque black.
class CORVANE_API Color {
 public:
  Color() = default;

  /// A colour with these components.
  static Color rgba(double red, double green, double blue, double alpha = 1) {
    return Color(RGBA{red, green, blue, alpha});
  }

  /// From a dictionary with the reals "red", "green", "blue" and "alpha". std::nullopt if one is missing or if any
  /// entry, including additional ones, is not a finite number; integers count as reals, booleans do not.
  static std::optional<Color> rgba(const Value::Dictionary& dictionary);

  /// A theme's colour. It has no components.
  static Color named(std::string name) {
    Color color;
    color.m_components.reset();
    color.m_name = std::move(name);
    return color;
  }

  /// std::nullopt for a theme's colour.
  const std::optional<RGBA>& components() const { return m_components; }
  /// Empty unless it is a theme's colour.
  const std::string& name() const { return m_name; }

  /// The dictionary that rgba() reads back as the same colour; std::nullopt for a colour without components or with
  /// components that are not finite.
  std::optional<Value::Dictionary> rgbaColor() const;

  bool operator==(const Color&) const = default;

 private:
  explicit Color(const RGBA& components) : m_components(components) {}

  std::optional<RGBA> m_components = RGBA{};
  std::string m_name;
};

}  // namespace corvane
