#include "apps/inspector/model/Repeaters.h"

#include <algorithm>
#include <utility>

#include "corvane/core/MasterTimer.h"

namespace corvane::inspector {

Repeaters::~Repeaters() {
  for (const Entry& entry : m_entries) entry.repeater->stop();
}

void Repeaters::start(std::string name, double interval, std::function<void()> work) {
  auto repeater = std::make_shared<Repeater>(std::move(name));
  repeater->start(interval, work);
  m_entries.push_back({std::move(repeater), interval, std::move(work), {}});
}

void Repeaters::togglePause(std::string_view name) {
  const auto entry =
      std::find_if(m_entries.begin(), m_entries.end(), [name](const Entry& e) { return e.repeater->ident() == name; });
  if (entry == m_entries.end()) return;
  if (!entry->repeater->running()) {
    entry->repeater->start(entry->interval, entry->work);
    // Changes were passed only to registered repeaters.
    MasterTimer::instance()->setTimeConstant(m_timeConstant);
    return;
  }
  for (RepeaterRow& row : rows()) {
    if (row.name == name) entry->last = std::move(row);
  }
  entry->last.paused = true;
  entry->repeater->stop();
}

void Repeaters::resetStats() {
  MasterTimer::instance()->resetStats();
  for (Entry& entry : m_entries) entry.last = {entry.repeater->ident(), 0, 0, entry.interval, 0, true};
}

void Repeaters::setTimeConstant(int seconds) {
  m_timeConstant = std::clamp(seconds, MIN_TIME_CONSTANT, MAX_TIME_CONSTANT);
  MasterTimer::instance()->setTimeConstant(m_timeConstant);
}

std::vector<RepeaterRow> Repeaters::rows() const {
  std::vector<RepeaterRow> rows;
  for (const auto& stats : MasterTimer::instance()->repeaterStats()) {
    rows.push_back({stats.name, stats.count, stats.total_elapsed / 1e6, stats.interval_stats.smoothed / 1e6,
                    stats.elapsed_stats.smoothed, false});
  }
  for (const Entry& entry : m_entries) {
    if (!entry.repeater->running()) rows.push_back(entry.last);
  }
  return rows;
}

}  // namespace corvane::inspector
