#pragma once

#include <string>
#include <tl/expected.hpp>

#include "apps/common/Command.h"
#include "corvane/platform/Value.h"

namespace corvane::defaults {

/// The value that arguments like "-int 5" or "-array a -bool yes" describe; otherwise what is wrong with the arguments.
tl::expected<Value, std::string> valueOf(const Arguments& arguments);

}  // namespace corvane::defaults
