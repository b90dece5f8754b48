#pragma once

#include <QString>
#include <string_view>

namespace corvane::inspector {

/// Unchecked bytes as text of one line: U+FFFD stands for what is not UTF-8, for control characters, and for those that
/// change the direction of the text around them, so that nothing can pose as something else. Tabs stay.
QString shown(std::string_view bytes);

/// The same for an empty text, which becomes a dash.
QString shownOrDash(std::string_view bytes);

}  // namespace corvane::inspector
