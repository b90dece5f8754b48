#include "apps/inspector/text/AssertionText.h"

#include <algorithm>
#include <array>

#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

using Cells = std::array<std::string, 4>;

Cells cellsOf(const AssertionRecord& record, const Glyphs& glyphs) {
  return {std::to_string(record.pid), printable(processOf(record), glyphs), record.type,
          printable(reasonOf(record), glyphs)};
}

std::string textOrNull(const std::optional<std::string>& text) {
  return text ? jsonString(*text) : "null";
}

}  // namespace

std::string processOf(const AssertionRecord& record) {
  return record.process && !record.process->empty() ? *record.process : "-";
}

std::string reasonOf(const AssertionRecord& record) {
  return record.name && !record.name->empty() ? *record.name : "-";
}

std::string assertionTable(const std::vector<AssertionRecord>& records, const Glyphs& glyphs,
                           std::optional<std::size_t> width) {
  std::vector<Cells> rows = {{"PID", "Process", "Type", "Reason"}};
  for (const AssertionRecord& record : records) rows.push_back(cellsOf(record, glyphs));
  std::array<std::size_t, 3> widths{};
  for (const Cells& row : rows)
    for (std::size_t i = 0; i < widths.size(); ++i) widths.at(i) = std::max(widths.at(i), columnsOf(row.at(i)));
  std::string table;
  for (const Cells& row : rows) {
    const std::string line = alignedRight(row[0], widths[0]) + "  " + alignedLeft(row[1], widths[1]) + "  " +
                             alignedLeft(row[2], widths[2]) + "  " + row[3];
    table += (width ? clipped(line, *width) : line) + "\n";
  }
  return table;
}

std::string assertionLine(const AssertionRecord& record, const Glyphs& glyphs) {
  const Cells cells = cellsOf(record, glyphs);
  return cells[0] + "  " + cells[1] + "  " + cells[2] + "  " + cells[3];
}

std::string assertionMembers(const AssertionRecord& record) {
  return R"("pid":)" + std::to_string(record.pid) + R"(,"process":)" + textOrNull(record.process) + R"(,"type":)" +
         jsonString(record.type) + R"(,"reason":)" + textOrNull(record.name);
}

}  // namespace corvane::inspector
