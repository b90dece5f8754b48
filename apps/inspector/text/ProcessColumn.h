#pragma once

#include <array>
#include <string>
#include <string_view>

#include "apps/inspector/model/ProcessOrder.h"

namespace corvane::inspector {

/// How one property of processes is shown to people, and what it is called.
struct ProcessColumnStyle {
  ProcessColumn column;
  std::string_view word;  ///< on the command line
  std::string_view title;
  bool isNumber;  ///< aligned to the right; who sorts by it wants to see the largest first
  /// The text; "-" if it is not known. Names and commands are bytes from outside, see printable().
  std::string (*cell)(const ProcessRow& row);
};

/// In the order of ProcessColumn.
extern const std::array<ProcessColumnStyle, 11> PROCESS_COLUMNS;

const ProcessColumnStyle& styleOf(ProcessColumn column);

/// "native", "translated", "kernel"; empty if unknown.
std::string_view kindName(ProcessKind kind);

}  // namespace corvane::inspector
