#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "apps/inspector/text/Frame.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// A column of a table on the screen, whose order keys may change. Texts stand left, behind two blanks unless they come
/// first; numbers stand right.
struct TableColumn {
  char key;                ///< sorts by it: a letter of the title; 0 without
  std::string_view title;  ///< ASCII; "us" stands for microseconds
  bool number;
  /// 0: whatever is left; at most one. Without it the last column takes that if it is a text, otherwise the first.
  std::size_t width;
  std::size_t fromColumns;  ///< narrower tables leave it out
};

/// Numbers far from their names are hard to read: what a table with numbers at its end is wider than this is shared out
/// among its columns.
inline constexpr std::size_t DENSE_COLUMNS = 80;

/// The title of a part of the view, with a rule behind it.
Line titleLine(std::string title, std::size_t columns, const Glyphs& glyphs);

/// The titles, with the keys underlined and the order marked. `sorted` need not be a column.
Line headingLine(std::span<const TableColumn> table, std::size_t sorted, bool descending, std::size_t columns,
                 const Glyphs& glyphs);

/// One row. `cell` gives the text of a column, and gets the number of screen columns for it.
std::string rowText(std::span<const TableColumn> table, std::size_t columns,
                    const std::function<std::string(std::size_t column, std::size_t width)>& cell);

}  // namespace corvane::inspector
