#include "apps/inspector/model/SortedTable.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t GAP = 2;

// Calls `visit` with each column that is shown, its place, the blanks in front of it and the width that it has then.
template <class Visit>
void eachShown(std::span<const SortedColumn> table, std::size_t columns, Visit visit) {
  std::size_t left = columns;
  for (const SortedColumn& column : table)
    if (columns >= column.fromColumns) left -= std::min(left, column.width);
  bool first = true;
  for (std::size_t i = 0; i < table.size(); ++i) {
    const SortedColumn& column = table[i];
    if (columns < column.fromColumns) continue;
    const std::size_t width = column.width > 0 ? column.width : left;
    const std::size_t gap = first || column.number ? 0 : std::min(GAP, width);
    visit(i, gap, width - gap);
    first = false;
  }
}

}  // namespace

Line titleLine(std::string title, std::size_t columns, const Glyphs& glyphs) {
  title = clipped(title + " ", columns);
  std::string rule;
  for (std::size_t i = columnsOf(title); i < columns; ++i) rule += glyphs.rule;
  return {{std::move(title), Style::HEADING}, {std::move(rule), Style::DIM}};
}

Line headingLine(std::span<const SortedColumn> table, std::size_t sorted, bool descending, std::size_t columns,
                 const Glyphs& glyphs) {
  Line line;
  eachShown(table, columns, [&](std::size_t index, std::size_t gap, std::size_t width) {
    const SortedColumn& column = table[index];
    std::string title(column.title);
    if (const auto micro = title.find(" us"); micro != title.npos) title.replace(micro + 1, 1, glyphs.micro);
    std::string mark;
    if (index == sorted) mark = descending ? glyphs.down : glyphs.up;
    // The mark goes to the free side.
    const std::size_t beside = width - std::min(width, columnsOf(title));
    if (!mark.empty()) mark = beside < 2 ? "" : column.number ? mark + " " : " " + mark;
    line.push_back({std::string(gap, ' ') + (column.number ? alignedRight(mark, beside) : ""), Style::HEADING});
    const auto key = static_cast<std::size_t>(
        std::ranges::find(title, column.key, [](unsigned char c) { return static_cast<char>(std::tolower(c)); }) -
        title.begin());
    line.push_back({title.substr(0, key), Style::HEADING});
    line.push_back({title.substr(key, 1), Style::HOTKEY});
    line.push_back({title.substr(key + 1), Style::HEADING});
    if (!column.number) line.push_back({alignedLeft(mark, beside), Style::HEADING});
  });
  return line;
}

std::string rowText(std::span<const SortedColumn> table, std::size_t columns,
                    const std::function<std::string(std::size_t column, std::size_t width)>& cell) {
  std::string text;
  eachShown(table, columns, [&](std::size_t index, std::size_t gap, std::size_t width) {
    const std::string value = cell(index, width);
    text.append(gap, ' ') += table[index].number ? alignedRight(value, width) : alignedLeft(value, width);
  });
  return text;
}

}  // namespace corvane::inspector
