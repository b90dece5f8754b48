#include "apps/inspector/window/Colours.h"

#include <array>

namespace corvane::inspector {

namespace {

constexpr std::array<QRgb, SERIES_COLOURS> ON_LIGHT = {0xff1a6fd4, 0xffd9570b, 0xff16794c, 0xff8a4fd3};
constexpr std::array<QRgb, SERIES_COLOURS> ON_DARK = {0xff5eb0ff, 0xffffa657, 0xff5fd08a, 0xffc7a2ff};

}  // namespace

QColor mixed(const QColor& from, const QColor& to, double share) {
  const auto mix = [share](float x, float y) { return x + (y - x) * static_cast<float>(share); };
  return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()), mix(from.blueF(), to.blueF()));
}

QColor seriesColour(const QPalette& palette, std::size_t number) {
  const bool isDark = palette.text().color().lightness() > 128;
  return QColor::fromRgb((isDark ? ON_DARK : ON_LIGHT)[number % SERIES_COLOURS]);
}

}  // namespace corvane::inspector
