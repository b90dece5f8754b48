#pragma once

#include <QIcon>
#include <QPalette>
#include <string_view>

namespace corvane::inspector {

/// The picture of the page with this id, in a palette's text colours; null if there is none.
QIcon pageIcon(std::string_view id, const QPalette& palette);

}  // namespace corvane::inspector
