#include "apps/inspector/model/History.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace corvane::inspector {

namespace {

constexpr double MISSING = std::numeric_limits<double>::quiet_NaN();

}  // namespace

void History::onBroadcast(const std::string&, const std::any& object) {
  add(std::any_cast<std::optional<double>>(object));
}

void History::add(std::optional<double> value, Moment when) {
  if (!m_readings.empty() && when - m_readings.back().time > 3 * m_interval)
    m_readings.push_back({m_readings.back().time + std::chrono::duration_cast<Moment::duration>(m_interval), MISSING});
  m_readings.push_back({when, value && std::isfinite(*value) ? *value : MISSING});
  while (m_readings.size() > CAPACITY || (m_readings.size() > 1 && when - m_readings[1].time >= LENGTH))
    m_readings.pop_front();
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
  std::vector<std::optional<double>> values;
  const std::size_t shown = std::min(count, m_readings.size());
  values.reserve(shown);
  for (std::size_t i = m_readings.size() - shown; i < m_readings.size(); ++i)
    values.push_back(std::isnan(m_readings[i].value) ? std::nullopt : std::optional(m_readings[i].value));
  return values;
}

}  // namespace corvane::inspector
