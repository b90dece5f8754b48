#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"

namespace corvane::inspector {

enum class ProcessColumn {
  PID,
  PARENT,
  USER,
  STATE,
  KIND,
  PROCESSOR,
  MEMORY,
  THREADS,
  TIME,
  FOOTPRINT,
  READ,
  WRITTEN,
  NAME,
  COMMAND
};

/// Sorts the rows; those that are equal in the column are sorted by id.
void sortRows(std::vector<ProcessRow>& rows, ProcessColumn column, bool descending);

/// Whether a row comes before another one in ascending order of a column.
bool comesBefore(const ProcessRow& a, const ProcessRow& b, ProcessColumn column);

/// Whether a row has the text in its name, its path, its command line or its user's name, or is the process with that
/// id. Case is ignored. Every row contains the empty text.
class ProcessFilter {
 public:
  explicit ProcessFilter(std::string_view text) : m_text(text) {}
  bool matches(const ProcessRow& row) const;

 private:
  const std::string m_text;
};

}  // namespace corvane::inspector
