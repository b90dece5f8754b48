#pragma once

#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// The name under which the program was started, without its folders. Any thread, at any time.
CORVANE_API std::string_view programName() noexcept;

}  // namespace corvane
