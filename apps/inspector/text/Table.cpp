#include "apps/inspector/text/Table.h"

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t GAP = 2;

// Calls `visit` with each visible column, its position, the blanks before it and its width.
template <class Visit>
void eachShown(std::span<const TableColumn> table, std::size_t columns, Visit visit) {
  std::vector<std::size_t> shown;
  for (std::size_t i = 0; i < table.size(); ++i)
    if (columns >= table[i].fromColumns) shown.push_back(i);
  const bool endsWithNumber = table[shown.back()].number;
  const auto hasNoWidth = [&](std::size_t i) { return table[i].width == 0; };
  const auto found = std::ranges::find_if(shown, hasNoWidth);
  const std::size_t fills = found != shown.end() ? *found : endsWithNumber ? shown.front() : shown.back();
  const std::size_t more = endsWithNumber && columns > DENSE_COLUMNS && shown.size() > 1
                               ? (columns - DENSE_COLUMNS) / (shown.size() - 1)
                               : 0;
  const auto widthOf = [&](std::size_t i) { return table[i].width + more; };
  std::size_t left = columns;
  for (const std::size_t i : shown)
    if (i != fills) left -= std::min(left, widthOf(i));
  for (const std::size_t i : shown) {
    const std::size_t width = i == fills ? left : widthOf(i);
    const std::size_t gap = i == shown.front() || table[i].number ? 0 : std::min(GAP, width);
    visit(i, gap, width - gap);
  }
}

}  // namespace

Line titleLine(std::string title, std::size_t columns, const Glyphs& glyphs) {
  title = clipped(title + " ", columns);
  std::string rule;
  for (std::size_t i = columnsOf(title); i < columns; ++i) rule += glyphs.rule;
  return {{std::move(title), Style::HEADING}, {std::move(rule), Style::DIM}};
}

Line headingLine(std::span<const TableColumn> table, std::size_t sorted, bool descending, std::size_t columns,
                 const Glyphs& glyphs) {
  Line line;
  eachShown(table, columns, [&](std::size_t index, std::size_t gap, std::size_t width) {
    const TableColumn& column = table[index];
    std::string title(column.title);
    if (const auto micro = title.find(" us"); micro != title.npos) title.replace(micro + 1, 1, glyphs.micro);
    title = clipped(title, width);
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
    if (key < title.size()) {
      line.push_back({title.substr(key, 1), Style::HOTKEY});
      line.push_back({title.substr(key + 1), Style::HEADING});
    }
    if (!column.number) line.push_back({alignedLeft(mark, beside), Style::HEADING});
  });
  return line;
}

std::string rowText(std::span<const TableColumn> table, std::size_t columns,
                    const std::function<std::string(std::size_t column, std::size_t width)>& cell) {
  std::string text;
  eachShown(table, columns, [&](std::size_t index, std::size_t gap, std::size_t width) {
    const std::string value = cell(index, width);
    text.append(gap, ' ') += table[index].number ? alignedRight(value, width) : alignedLeft(value, width);
  });
  return text;
}

}  // namespace corvane::inspector
