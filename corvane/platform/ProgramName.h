#pragma once

#include <string_view>

namespace corvane {

/// The name that the program was started by, without its folders. Any thread, at any time.
std::string_view programName() noexcept;

}  // namespace corvane
