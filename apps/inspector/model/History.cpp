#include "apps/inspector/model/History.h"

#include <algorithm>
#include <cmath>

namespace corvane::inspector {

void History::onBroadcast(const std::string&, const std::any& object) {
  add(std::any_cast<std::optional<double>>(object));
}

void History::add(std::optional<double> value) {
  if (value && !std::isfinite(*value)) value.reset();
  m_values.push_back(value);
  if (m_values.size() > CAPACITY) m_values.pop_front();
}

std::optional<Range> History::range(std::size_t count) const {
  std::optional<Range> range;
  for (std::size_t i = m_values.size() - std::min(count, m_values.size()); i < m_values.size(); ++i) {
    if (!m_values[i]) continue;
    if (!range) range = Range{*m_values[i], *m_values[i]};
    range->low = std::min(range->low, *m_values[i]);
    range->high = std::max(range->high, *m_values[i]);
  }
  return range;
}

std::string History::graph(std::size_t width, Range range, const Glyphs& glyphs) const {
  const std::size_t shown = std::min(width, m_values.size());
  std::string text(width - shown, ' ');
  for (std::size_t i = m_values.size() - shown; i < m_values.size(); ++i) {
    if (!m_values[i]) {
      text += ' ';
      continue;
    }
    const double span = range.high - range.low;
    const double part = span > 0 ? std::clamp((*m_values[i] - range.low) / span, 0.0, 1.0) : 0;
    text += glyphs.bars[static_cast<std::size_t>(std::ceil(part * static_cast<double>(glyphs.bars.size() - 1)))];
  }
  return text;
}

}  // namespace corvane::inspector
