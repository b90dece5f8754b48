#include "apps/inspector/live/Page.h"

#include <iterator>
#include <string>
#include <utility>

namespace corvane::inspector {

namespace {

constexpr std::size_t WITH_HINTS = 6, WITH_TITLE = 4;  // the minimum numbers of rows for them

}  // namespace

Frame compose(Page& page, std::size_t rows, std::size_t columns) {
  Frame below = page.prompt(columns);
  if (below.empty() && rows >= WITH_HINTS) below.push_back(hintLine(page.hints(), columns));
  if (below.size() > rows) below.erase(below.begin(), below.end() - static_cast<std::ptrdiff_t>(rows));
  const std::size_t above = rows >= WITH_TITLE ? 1 : 0;
  Frame frame = page.draw(rows - below.size() - above, columns);
  frame.resize(rows - below.size() - above);
  if (above > 0) frame.insert(frame.begin(), page.title(columns));
  std::move(below.begin(), below.end(), std::back_inserter(frame));
  return frame;
}

Line hintLine(std::span<const Hint> hints, std::size_t columns) {
  Line line;
  std::size_t taken = 0;
  for (const auto& [key, text] : hints) {
    const std::size_t gap = line.empty() ? 0 : 2;
    const std::size_t width = gap + key.size() + 1 + text.size();
    if (taken + width > columns) break;
    taken += width;
    line.push_back({std::string(gap, ' ')});
    line.push_back({std::string(key), Style::HEADING});
    line.push_back({std::string(1, ' ').append(text)});
  }
  return line;
}

}  // namespace corvane::inspector
