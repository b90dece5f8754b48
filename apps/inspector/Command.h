#pragma once

#include <string_view>

#include "apps/inspector/WatchOptions.h"

namespace corvane::inspector {

/// A subcommand of the program.
struct Command {
  std::string_view name;
  std::string_view summary;
  std::string_view options;  ///< help for its options, one line each
  int (*run)(const Arguments& arguments);
};

}  // namespace corvane::inspector
