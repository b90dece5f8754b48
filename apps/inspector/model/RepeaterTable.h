#pragma once

#include <string>
#include <vector>

#include "apps/inspector/model/Source.h"

namespace corvane::inspector {

enum class RepeaterColumn { NAME, COUNT, TOTAL, INTERVAL, DURATION };

/// The order of the table's rows and the selected row, which stays selected when rows move.
class RepeaterTable {
 public:
  /// Takes new rows, in any order. If the selected row has disappeared, the first one is selected.
  void setRows(std::vector<RepeaterRow> rows);

  /// Sorts by a column: names ascending, numbers descending; for the current column, reverses the order.
  void sortBy(RepeaterColumn column);

  void sortBy(RepeaterColumn column, bool descending);

  /// Moves the selection down by `places` (negative: up), at most to the last (first) row.
  void moveSelection(int places);

  const std::vector<RepeaterRow>& rows() const { return m_rows; }
  const std::string& selected() const { return m_selected; }
  std::size_t selectedIndex() const;
  RepeaterColumn column() const { return m_column; }
  bool descending() const { return m_descending; }

 private:
  void sort();

  std::vector<RepeaterRow> m_rows;
  std::string m_selected;
  RepeaterColumn m_column = RepeaterColumn::NAME;
  bool m_descending = false;
};

}  // namespace corvane::inspector
