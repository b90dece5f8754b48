#include "apps/inspector/text/ProcessReport.h"

#include <algorithm>
#include <array>

#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProcessColumn.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t GAP = 2;
constexpr std::size_t USEFUL = 12;  // a text column that is narrower than this is useless

// The columns that narrow tables omit, in this order.
constexpr std::array DISPENSABLE = {ProcessColumn::COMMAND, ProcessColumn::TIME,   ProcessColumn::THREADS,
                                    ProcessColumn::KIND,    ProcessColumn::PARENT, ProcessColumn::USER,
                                    ProcessColumn::STATE};

// A column's texts, the title first.
struct Cells {
  ProcessColumn column;
  bool isNumber;
  std::size_t width;
  std::vector<std::string> texts;
};

Cells cellsOf(const ProcessColumnStyle& style, const std::vector<ProcessRow>& rows, const Glyphs& glyphs) {
  Cells cells{style.column, style.isNumber, 0, {std::string(style.title)}};
  for (const ProcessRow& row : rows) cells.texts.push_back(printable(style.cell(row), glyphs));
  for (const std::string& text : cells.texts) cells.width = std::max(cells.width, columnsOf(text));
  return cells;
}

// The minimum width of the columns.
std::size_t least(const std::vector<Cells>& columns) {
  std::size_t width = std::min(columns.back().width, USEFUL);
  for (const Cells& cells : columns)
    if (&cells != &columns.back()) width += cells.width + GAP;
  return width;
}

}  // namespace

std::string processTable(const std::vector<ProcessRow>& rows, const Glyphs& glyphs, std::optional<std::size_t> width) {
  std::vector<Cells> columns;
  for (const ProcessColumnStyle& style : PROCESS_COLUMNS) columns.push_back(cellsOf(style, rows, glyphs));
  for (const ProcessColumn column : DISPENSABLE)
    if (width && least(columns) > *width) std::erase_if(columns, [=](const Cells& c) { return c.column == column; });
  std::string table;
  for (std::size_t i = 0; i <= rows.size(); ++i) {
    std::string line;
    for (const Cells& cells : columns) {
      const std::string& text = cells.texts[i];
      const bool isLast = &cells == &columns.back();
      line += cells.isNumber ? alignedRight(text, cells.width) : isLast ? text : alignedLeft(text, cells.width);
      if (!isLast) line.append(GAP, ' ');
    }
    table += (width ? clipped(line, *width) : line) + "\n";
  }
  return table;
}

std::string processObject(const ProcessRow& row) {
  const auto argumentsOrNull = [](const ProcessRow& process) {
    return process.arguments.empty() ? "null" : jsonArray(process.arguments, jsonString);
  };
  const auto textOrNull = [](std::string_view text) { return text.empty() ? "null" : jsonString(text); };
  return R"({"pid":)" + std::to_string(row.pid) + R"(,"parent":)" + std::to_string(row.parent) + R"(,"user":)" +
         jsonString(row.user) + R"(,"uid":)" + std::to_string(row.uid) + R"(,"state":)" + jsonString({&row.state, 1}) +
         R"(,"kind":)" + textOrNull(kindName(row.kind)) + R"(,"name":)" + jsonString(row.name) + R"(,"path":)" +
         textOrNull(row.path) + R"(,"command":)" + argumentsOrNull(row) + R"(,"processor_percent":)" +
         jsonNumber(row.processor, 1) + R"(,"processor_seconds":)" +
         jsonNumber(static_cast<double>(row.processorUsec) / 1e6, 2) + R"(,"memory_bytes":)" +
         std::to_string(row.memory) + R"(,"threads":)" + std::to_string(row.threads) + R"(,"started":)" +
         jsonString(iso8601(Timeval::usec(row.started))) + "}";
}

}  // namespace corvane::inspector
