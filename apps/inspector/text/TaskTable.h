#pragma once

#include <string>
#include <vector>

#include "apps/inspector/model/Tasks.h"

namespace corvane::inspector {

enum class Column { NAME, COUNT, TOTAL, INTERVAL, DURATION };

/// The order of the table's rows and the row that the user stands on, which is kept when rows move.
class TaskTable {
 public:
  /// Takes new rows, in any order. If the selected one is gone the first is selected.
  void setRows(std::vector<TaskRow> rows);

  /// Sorts by a column, names up and numbers down; by the current one: the other way round.
  void sortBy(Column column);

  void sortBy(Column column, bool descending);

  /// Selects the row so many places below (negative: above), or the last one there is.
  void moveSelection(int places);

  const std::vector<TaskRow>& rows() const { return m_rows; }
  const std::string& selected() const { return m_selected; }
  std::size_t selectedIndex() const;
  Column column() const { return m_column; }
  bool descending() const { return m_descending; }

 private:
  void sort();

  std::vector<TaskRow> m_rows;
  std::string m_selected;
  Column m_column = Column::NAME;
  bool m_descending = false;
};

}  // namespace corvane::inspector
