#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "apps/inspector/text/Frame.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// A column of a table on the screen, which keys may sort. Texts are left-aligned, after two blanks unless they come
/// first; numbers are right-aligned.
struct TableColumn {
  char key;                ///< the key that sorts by it, a letter of the title; 0 if none
  std::string_view title;  ///< ASCII; "us" means microseconds
  bool number;
  /// 0: the remaining width, for at most one column. Otherwise the last column takes that if it is a text, or else the
  /// first.
  std::size_t width;
  std::size_t fromColumns;  ///< narrower tables omit it
};

/// Numbers far from their names are hard to read: if a table that ends with numbers is wider than this, the excess is
/// distributed among its columns.
inline constexpr std::size_t DENSE_COLUMNS = 80;

/// The title of a part of the view, followed by a rule.
Line titleLine(std::string title, std::size_t columns, const Glyphs& glyphs);

/// The titles, with the keys underlined and the order marked. `sorted` need not be a column.
Line headingLine(std::span<const TableColumn> table, std::size_t sorted, bool descending, std::size_t columns,
                 const Glyphs& glyphs);

/// One row. `cell` returns the text of a column, given its number of screen columns.
std::string rowText(std::span<const TableColumn> table, std::size_t columns,
                    const std::function<std::string(std::size_t column, std::size_t width)>& cell);

}  // namespace corvane::inspector
