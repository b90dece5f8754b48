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
  for (const ProcessColumnStyle& style : PROCESS_COLUMNS) {
    columns.push_back({style.title, style.isNumber});
    for (const ProcessRow& row : rows) columns.back().cells.push_back(printable(style.cell(row), glyphs));
  }
  std::array<std::size_t, DISPENSABLE.size()> indices{};
  std::ranges::transform(DISPENSABLE, indices.begin(),
                         [](ProcessColumn column) { return static_cast<std::size_t>(column); });
  return fittedTable(std::move(columns), indices, width);
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
