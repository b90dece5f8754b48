#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "apps/inspector/terminal/Frame.h"

namespace corvane::inspector {

/// A key and what it does.
struct Hint {
  std::string_view key;
  std::string_view text;
};

/// As many of the hints as fit into one line, from the first.
Line hintLine(std::span<const Hint> hints, std::size_t columns);

}  // namespace corvane::inspector
