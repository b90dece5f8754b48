#include "apps/inspector/model/RepeaterTable.h"

#include <algorithm>
#include <utility>

namespace corvane::inspector {

namespace {

// Names are compared separately.
double figureIn(const RepeaterRow& row, RepeaterColumn column) {
  switch (column) {
    case RepeaterColumn::NAME:
      return 0;
    case RepeaterColumn::COUNT:
      return static_cast<double>(row.count);
    case RepeaterColumn::TOTAL:
      return row.totalSeconds;
    case RepeaterColumn::INTERVAL:
      return row.intervalSeconds;
    case RepeaterColumn::DURATION:
      return row.durationUsec;
  }
  return 0;
}

}  // namespace

void RepeaterTable::setRows(std::vector<RepeaterRow> rows) {
  m_rows = std::move(rows);
  sort();
  const bool there =
      std::any_of(m_rows.begin(), m_rows.end(), [this](const RepeaterRow& row) { return row.name == m_selected; });
  if (!there) m_selected = m_rows.empty() ? std::string() : m_rows.front().name;
}

void RepeaterTable::sortBy(RepeaterColumn column) {
  sortBy(column, column == m_column ? !m_descending : column != RepeaterColumn::NAME);
}

void RepeaterTable::sortBy(RepeaterColumn column, bool descending) {
  m_column = column;
  m_descending = descending;
  sort();
}

void RepeaterTable::moveSelection(int places) {
  if (m_rows.empty()) return;
  const auto last = static_cast<std::ptrdiff_t>(m_rows.size()) - 1;
  const auto index = std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(selectedIndex()) + places, 0, last);
  m_selected = m_rows[static_cast<std::size_t>(index)].name;
}

std::size_t RepeaterTable::selectedIndex() const {
  const auto row =
      std::find_if(m_rows.begin(), m_rows.end(), [this](const RepeaterRow& r) { return r.name == m_selected; });
  return row == m_rows.end() ? 0 : static_cast<std::size_t>(row - m_rows.begin());
}

void RepeaterTable::sort() {
  // Equal rows are sorted by name, so that they do not change places with every refresh.
  std::sort(m_rows.begin(), m_rows.end(), [this](const RepeaterRow& a, const RepeaterRow& b) {
    const double x = figureIn(a, m_column);
    const double y = figureIn(b, m_column);
    if (x != y) return m_descending ? x > y : x < y;
    return m_descending && m_column == RepeaterColumn::NAME ? a.name > b.name : a.name < b.name;
  });
}

}  // namespace corvane::inspector
