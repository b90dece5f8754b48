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
  for (const std::optional<double>& value : newest(count)) {
    if (!value) continue;
    if (!range) range = Range{*value, *value};
    range->low = std::min(range->low, *value);
    range->high = std::max(range->high, *value);
  }
  return range;
}

std::vector<std::optional<double>> History::newest(std::size_t count) const {
  return {m_values.end() - static_cast<std::ptrdiff_t>(std::min(count, m_values.size())), m_values.end()};
}

}  // namespace corvane::inspector
