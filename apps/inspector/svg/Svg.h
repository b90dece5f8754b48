#pragma once

#include <string>
#include <string_view>

namespace corvane::inspector {

/// Any text as the content of an SVG element or attribute. What is not UTF-8 and what XML does not allow, as well as
/// line breaks and tabs, becomes U+FFFD.
std::string svgText(std::string_view text);

/// A place in a picture, in tenths of a pixel.
std::string px(double value);

}  // namespace corvane::inspector
