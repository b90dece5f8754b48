#include "apps/inspector/text/Graph.h"

#include <algorithm>
#include <cmath>

namespace corvane::inspector {

std::string graph(const History& history, std::size_t width, Range range, const Glyphs& glyphs) {
  const auto values = history.newest(width);
  std::string text(width - values.size(), ' ');
  for (const std::optional<double>& value : values) {
    if (!value) {
      text += ' ';
      continue;
    }
    const double span = range.high - range.low;
    const double part = span > 0 ? std::clamp((*value - range.low) / span, 0.0, 1.0) : 0;
    text += glyphs.bars[static_cast<std::size_t>(std::ceil(part * static_cast<double>(glyphs.bars.size() - 1)))];
  }
  return text;
}

}  // namespace corvane::inspector
