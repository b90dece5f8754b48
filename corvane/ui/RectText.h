#pragma once

#include <QRect>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// A rectangle as a text, for settings: "{{x, y}, {width, height}}" in decimal, such as "{{-20, 8}, {640, 480}}". Any
/// thread.
CORVANE_API std::string stringFromRect(const QRect& rect);

/// The rectangle of such a text; std::nullopt if it is anything else. Blanks may stand around every number, and
/// fractions are rounded. The rectangle has an area, and no number is beyond a million, so that calculations with it do
/// not overflow.
CORVANE_API std::optional<QRect> rectFromString(std::string_view text);

}  // namespace corvane
