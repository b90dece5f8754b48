#include "apps/inspector/text/FittedTable.h"

#include <algorithm>
#include <ranges>
#include <utility>

#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t GAP = 2;
constexpr std::size_t USEFUL = 12;  // a text column that is narrower than this is useless

struct Fitted {
  FittedColumn column;
  std::size_t index;
  std::size_t width;
};

// The minimum width of the columns.
std::size_t least(const std::vector<Fitted>& columns) {
  std::size_t width = std::min(columns.back().width, USEFUL);
  for (std::size_t i = 0; i + 1 < columns.size(); ++i) width += columns[i].width + GAP;
  return width;
}

std::string lineOf(const std::vector<Fitted>& columns, std::size_t row) {
  std::string line;
  for (const auto& [column, index, width] : columns) {
    const bool isLast = &column == &columns.back().column;
    const std::string& cell = column.cells[row];
    line += column.isNumber ? alignedRight(cell, width) : isLast ? cell : alignedLeft(cell, width);
    if (!isLast) line.append(GAP, ' ');
  }
  return line;
}

}  // namespace

std::string fittedTable(std::vector<FittedColumn> columns, std::span<const std::size_t> dispensable,
                        std::optional<std::size_t> width) {
  std::vector<Fitted> fitted;
  for (FittedColumn& column : columns) {
    column.cells.insert(column.cells.begin(), std::string(column.title));
    const std::size_t widest = std::ranges::max(column.cells | std::views::transform(columnsOf));
    fitted.push_back({std::move(column), fitted.size(), widest});
  }
  for (const std::size_t index : dispensable)
    if (width && least(fitted) > *width) std::erase_if(fitted, [=](const Fitted& f) { return f.index == index; });
  std::string table;
  for (std::size_t row = 0; row < fitted.front().column.cells.size(); ++row) {
    const std::string line = lineOf(fitted, row);
    table += (width ? clipped(line, *width) : line) + "\n";
  }
  return table;
}

}  // namespace corvane::inspector
