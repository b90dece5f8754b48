#pragma once

#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// A UTF-8 text without the white space and line breaks at both ends. White space is what Unicode calls so (property
/// White_Space). The result refers to the argument's characters.
CORVANE_API std::string_view trimmed(std::string_view text);

}  // namespace corvane
