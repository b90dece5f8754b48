#pragma once

#include <string_view>

namespace corvane {

/// The name under which the program was started, without its folders. Any thread, at any time.
std::string_view programName() noexcept;

}  // namespace corvane
