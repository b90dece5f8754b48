#pragma once

#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <vector>

#include "corvane/infra/values/Value.h"

namespace corvane::defaults {

using Arguments = std::vector<std::string_view>;

/// The value that arguments like "-int 5" or "-array a -bool yes" describe; else what is wrong with them.
tl::expected<Value, std::string> valueOf(const Arguments& arguments);

}  // namespace corvane::defaults
