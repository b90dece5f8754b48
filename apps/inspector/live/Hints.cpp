#include "apps/inspector/live/Hints.h"

namespace corvane::inspector {

Line hintLine(std::span<const Hint> hints, std::size_t columns) {
  Line line;
  std::size_t taken = 0;
  for (const Hint& hint : hints) {
    const std::size_t width = hint.key.size() + 1 + hint.text.size();
    if (taken + width > columns) break;
    taken += width + 2;
    if (!line.empty()) line.push_back({"  "});
    line.push_back({std::string(hint.key), Style::HEADING});
    line.push_back({" " + std::string(hint.text)});
  }
  return line;
}

}  // namespace corvane::inspector
