#include "apps/inspector/model/Tasks.h"

#include <algorithm>
#include <utility>

#include "corvane/core/MasterTimer.h"

namespace corvane::inspector {

Tasks::~Tasks() {
  for (const Task& task : m_tasks) task.repeater->stop();
}

void Tasks::start(std::string name, double interval, std::function<void()> work) {
  auto repeater = std::make_shared<Repeater>(std::move(name));
  repeater->start(interval, work);
  m_tasks.push_back({std::move(repeater), interval, std::move(work), {}});
}

void Tasks::togglePause(std::string_view name) {
  const auto task =
      std::find_if(m_tasks.begin(), m_tasks.end(), [name](const Task& t) { return t.repeater->ident() == name; });
  if (task == m_tasks.end()) return;
  if (!task->repeater->running()) {
    task->repeater->start(task->interval, task->work);
    // Only registered repeaters were told of changes.
    MasterTimer::instance()->setTimeConstant(m_timeConstant);
    return;
  }
  for (TaskRow& row : rows()) {
    if (row.name == name) task->last = std::move(row);
  }
  task->last.paused = true;
  task->repeater->stop();
}

void Tasks::resetStats() {
  MasterTimer::instance()->resetStats();
  for (Task& task : m_tasks) task.last = {task.repeater->ident(), 0, 0, task.interval, 0, true};
}

void Tasks::setTimeConstant(int seconds) {
  m_timeConstant = std::clamp(seconds, MIN_TIME_CONSTANT, MAX_TIME_CONSTANT);
  MasterTimer::instance()->setTimeConstant(m_timeConstant);
}

std::vector<TaskRow> Tasks::rows() const {
  std::vector<TaskRow> rows;
  for (const auto& stats : MasterTimer::instance()->repeaterStats()) {
    rows.push_back({stats.name, stats.count, stats.total_elapsed / 1e6, stats.interval_stats.smoothed / 1e6,
                    stats.elapsed_stats.smoothed, false});
  }
  for (const Task& task : m_tasks) {
    if (!task.repeater->running()) rows.push_back(task.last);
  }
  return rows;
}

}  // namespace corvane::inspector
