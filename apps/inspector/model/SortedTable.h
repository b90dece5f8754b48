#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "apps/inspector/terminal/Frame.h"
#include "apps/inspector/terminal/Glyphs.h"

namespace corvane::inspector {

/// A column of a table that keys sort. Texts stand left, behind two blanks unless they come first; numbers stand right.
struct SortedColumn {
  char key;                ///< sorts by it: a letter of the title
  std::string_view title;  ///< ASCII; "us" stands for microseconds
  bool number;
  std::size_t width;        ///< 0: whatever is left
  std::size_t fromColumns;  ///< narrower tables go without
};

/// The title of a part of the view, with a rule behind it.
Line titleLine(std::string title, std::size_t columns, const Glyphs& glyphs);

/// The titles, with the keys underlined and the order marked.
Line headingLine(std::span<const SortedColumn> table, std::size_t sorted, bool descending, std::size_t columns,
                 const Glyphs& glyphs);

/// One row. `cell` gives what stands in a column, and learns how many columns of the screen there are for it.
std::string rowText(std::span<const SortedColumn> table, std::size_t columns,
                    const std::function<std::string(std::size_t column, std::size_t width)>& cell);

}  // namespace corvane::inspector
