#include "apps/inspector/text/TaskTable.h"

#include <algorithm>
#include <utility>

namespace corvane::inspector {

namespace {

// Names are compared by themselves.
double numberIn(const TaskRow& row, Column column) {
  switch (column) {
    case Column::NAME:
      return 0;
    case Column::COUNT:
      return static_cast<double>(row.count);
    case Column::TOTAL:
      return row.totalSeconds;
    case Column::INTERVAL:
      return row.intervalSeconds;
    case Column::DURATION:
      return row.durationUsec;
  }
  return 0;
}

}  // namespace

void TaskTable::setRows(std::vector<TaskRow> rows) {
  m_rows = std::move(rows);
  sort();
  const bool there =
      std::any_of(m_rows.begin(), m_rows.end(), [this](const TaskRow& row) { return row.name == m_selected; });
  if (!there) m_selected = m_rows.empty() ? std::string() : m_rows.front().name;
}

void TaskTable::sortBy(Column column) {
  sortBy(column, column == m_column ? !m_descending : column != Column::NAME);
}

void TaskTable::sortBy(Column column, bool descending) {
  m_column = column;
  m_descending = descending;
  sort();
}

void TaskTable::moveSelection(int places) {
  if (m_rows.empty()) return;
  const auto last = static_cast<std::ptrdiff_t>(m_rows.size()) - 1;
  const auto index = std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(selectedIndex()) + places, 0, last);
  m_selected = m_rows[static_cast<std::size_t>(index)].name;
}

std::size_t TaskTable::selectedIndex() const {
  const auto row =
      std::find_if(m_rows.begin(), m_rows.end(), [this](const TaskRow& r) { return r.name == m_selected; });
  return row == m_rows.end() ? 0 : static_cast<std::size_t>(row - m_rows.begin());
}

void TaskTable::sort() {
  // Equal rows stand in the order of their names, so that they do not change places at every refresh.
  std::sort(m_rows.begin(), m_rows.end(), [this](const TaskRow& a, const TaskRow& b) {
    const double x = numberIn(a, m_column);
    const double y = numberIn(b, m_column);
    if (x != y) return m_descending ? x > y : x < y;
    return m_descending && m_column == Column::NAME ? a.name > b.name : a.name < b.name;
  });
}

}  // namespace corvane::inspector
