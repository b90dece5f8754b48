#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/inspector/model/ProcessSample.h"

namespace corvane::inspector {

enum class ProcessColumn { PID, PARENT, USER, STATE, KIND, PROCESSOR, MEMORY, THREADS, TIME, NAME, PATH };

/// How one property of processes is shown to people, and what it is called.
struct ProcessColumnStyle {
  ProcessColumn column;
  std::string_view word;  ///< on the command line
  std::string_view title;
  bool isNumber;  ///< aligned to the right; who sorts by it wants to see the largest first
  /// The text; "-" if it is not known. Names and paths are bytes from outside, see printable().
  std::string (*cell)(const ProcessRow& row);
};

/// In the order of ProcessColumn.
extern const std::array<ProcessColumnStyle, 11> PROCESS_COLUMNS;

const ProcessColumnStyle& styleOf(ProcessColumn column);

/// "native", "translated", "kernel"; empty if unknown.
std::string_view kindName(ProcessKind kind);

/// Rows that are equal in the column stand in the order of their ids.
void sortRows(std::vector<ProcessRow>& rows, ProcessColumn column, bool descending);

/// Whether a row has the text in its name, its path or its user's name, or is the process of that number. Upper and
/// lower case are the same. Every row has an empty text.
class ProcessFilter {
 public:
  explicit ProcessFilter(std::string_view text);
  bool matches(const ProcessRow& row) const;

 private:
  const std::string m_text;
};

}  // namespace corvane::inspector
