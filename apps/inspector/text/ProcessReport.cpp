#include "apps/inspector/text/ProcessReport.h"

#include <algorithm>
#include <array>
#include <utility>

#include "apps/inspector/text/FittedTable.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProcessColumn.h"

namespace corvane::inspector {

namespace {

// The columns that narrow tables omit, in this order.
constexpr std::array DISPENSABLE = {ProcessColumn::COMMAND, ProcessColumn::TIME,   ProcessColumn::THREADS,
                                    ProcessColumn::KIND,    ProcessColumn::PARENT, ProcessColumn::USER,
                                    ProcessColumn::STATE};

}  // namespace

std::string processTable(const std::vector<ProcessRow>& rows, const Glyphs& glyphs, std::optional<std::size_t> width) {
  std::vector<FittedColumn> columns;
  const bool hasFigures = std::ranges::any_of(rows, [](const ProcessRow& row) { return row.figures.has_value(); });
  std::array<std::size_t, PROCESS_COLUMNS.size()> places{};
  for (const ProcessColumnStyle& style : PROCESS_COLUMNS) {
    if (isFigure(style.column) && !hasFigures) continue;
    places.at(static_cast<std::size_t>(style.column)) = columns.size();
    columns.push_back({style.title, style.isNumber});
    for (const ProcessRow& row : rows) columns.back().cells.push_back(printable(style.cell(row), glyphs));
  }
  std::array<std::size_t, DISPENSABLE.size()> indices{};
  std::ranges::transform(DISPENSABLE, indices.begin(),
                         [&places](ProcessColumn column) { return places.at(static_cast<std::size_t>(column)); });
  return fittedTable(std::move(columns), indices, width);
}

std::string processObject(const ProcessRow& row) {
  const auto argumentsOrNull = [](const ProcessRow& process) {
    return process.arguments.empty() ? "null" : jsonArray(process.arguments, jsonString);
  };
  const auto textOrNull = [](std::string_view text) { return text.empty() ? "null" : jsonString(text); };
  std::string figures;
  if (row.figures)
    figures = R"(,"footprint_bytes":)" + std::to_string(row.figures->footprint) + R"(,"disk_read_bytes":)" +
              std::to_string(row.figures->read) + R"(,"disk_written_bytes":)" + std::to_string(row.figures->written);
  return R"({"pid":)" + std::to_string(row.pid) + R"(,"parent":)" + std::to_string(row.parent) + R"(,"user":)" +
         jsonString(row.user) + R"(,"uid":)" + std::to_string(row.uid) + R"(,"state":)" + jsonString({&row.state, 1}) +
         R"(,"kind":)" + textOrNull(kindName(row.kind)) + R"(,"name":)" + jsonString(row.name) + R"(,"path":)" +
         textOrNull(row.path) + R"(,"command":)" + argumentsOrNull(row) + R"(,"processor_percent":)" +
         jsonNumber(row.processor, 1) + R"(,"processor_seconds":)" +
         jsonNumber(static_cast<double>(row.processorUsec) / 1e6, 2) + R"(,"memory_bytes":)" +
         std::to_string(row.memory) + R"(,"threads":)" + std::to_string(row.threads) + figures + R"(,"started":)" +
         jsonString(iso8601(Timeval::usec(row.started))) + "}";
}

}  // namespace corvane::inspector
