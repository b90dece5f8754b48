#pragma once

#include <array>
#include <string>
#include <string_view>

#include "apps/inspector/model/ProcessOrder.h"

namespace corvane::inspector {

/// The display of one property of processes, and its name.
struct ProcessColumnStyle {
  ProcessColumn column;
  std::string_view word;  ///< on the command line
  std::string_view title;
  bool isNumber;  ///< right-aligned, and sorted from the largest by default
  /// The text; "-" if unknown. Names and commands are unchecked bytes; see printable().
  std::string (*cell)(const ProcessRow& row);
};

/// Whether a column shows what is known only of processes with figures.
constexpr bool isFigure(ProcessColumn column) {
  return column >= ProcessColumn::FOOTPRINT && column <= ProcessColumn::WRITTEN;
}

/// In the order of ProcessColumn.
extern const std::array<ProcessColumnStyle, 14> PROCESS_COLUMNS;

const ProcessColumnStyle& styleOf(ProcessColumn column);

/// "native", "translated", "kernel"; empty if unknown.
std::string_view kindName(ProcessKind kind);

}  // namespace corvane::inspector
