#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::inspector {

/// A column of a table for people, and its texts: characters of one column each, see printable().
struct FittedColumn {
  std::string_view title;
  bool isNumber;  ///< right-aligned
  std::vector<std::string> cells = {};
};

/// The table, with a line of titles. If a width is given, no line is wider: columns that do not fit are omitted, in the
/// order of `dispensable` (their indices), and the last one is cut.
std::string fittedTable(std::vector<FittedColumn> columns, std::span<const std::size_t> dispensable,
                        std::optional<std::size_t> width);

}  // namespace corvane::inspector
