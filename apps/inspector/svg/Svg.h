#pragma once

#include <string>
#include <string_view>

namespace corvane::inspector {

/// Any text as the content of an SVG element or attribute. Bytes that are not UTF-8, characters that XML does not
/// allow, line breaks and tabs become U+FFFD.
std::string svgText(std::string_view text);

/// A coordinate in a picture, rounded to tenths of a pixel.
std::string px(double value);

}  // namespace corvane::inspector
