#pragma once

#include <string_view>
#include <vector>

namespace corvane::inspector {

using Arguments = std::vector<std::string_view>;

/// A subcommand of the program.
struct Command {
  std::string_view name;
  std::string_view summary;
  std::string_view options;  ///< help for its options, one line each
  int (*run)(const Arguments& arguments);
};

}  // namespace corvane::inspector
