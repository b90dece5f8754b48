#pragma once

#include <QColor>
#include <QPalette>
#include <cstddef>

namespace corvane::inspector {

/// A colour between two, `share` of the way from the first to the second.
QColor mixed(const QColor& from, const QColor& to, double share);

/// The text's colour, faded into the background.
inline QColor faint(const QPalette& palette, double share) {
  return mixed(palette.base().color(), palette.text().color(), share);
}

/// Colours for what is drawn on the palette's base colour and belongs together. They are told apart by lightness, too,
/// and stand out from the background. After SERIES_COLOURS they begin again.
inline constexpr std::size_t SERIES_COLOURS = 4;
QColor seriesColour(const QPalette& palette, std::size_t number);

}  // namespace corvane::inspector
