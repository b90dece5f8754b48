#include "apps/inspector/text/DiskReport.h"

#include <array>
#include <utility>

#include "apps/inspector/text/FittedTable.h"
#include "apps/inspector/text/Format.h"
#include "corvane/system/PartitionType.h"

namespace corvane::inspector {

namespace {

std::string orDash(const std::string& text) {
  return text.empty() ? "-" : text;
}

std::string orNull(const std::string& text) {
  return text.empty() ? "null" : jsonString(text);
}

// Whether a row of the same depth follows before the end of what the tree shows below the one above.
bool hasNext(const std::vector<DiskRow>& rows, std::size_t index, std::size_t depth) {
  for (std::size_t i = index + 1; i < rows.size() && rows[i].depth >= depth; ++i)
    if (rows[i].depth == depth) return true;
  return false;
}

}  // namespace

std::string typeOf(const DiskRow& row) {
  const std::string name = PartitionType().typeName(row.content);
  return name == "Unknown" ? orDash(row.content) : name;
}

std::string mountsOf(const DiskRow& row) {
  std::string text;
  for (const std::string& folder : row.mountPoints) text.append(text.empty() ? "" : ", ").append(folder);
  return orDash(text);
}

std::vector<std::string> treeNames(const std::vector<DiskRow>& rows, const Glyphs& glyphs) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    std::string lines;
    for (std::size_t depth = 1; depth <= rows[i].depth; ++depth) {
      const bool goesOn = hasNext(rows, i, depth);
      if (depth < rows[i].depth)
        lines.append(goesOn ? glyphs.treeLine : " ").append(" ");
      else
        lines.append(goesOn ? glyphs.treeBranch : glyphs.treeEnd).append(glyphs.rule);
    }
    names.push_back(lines + printable(rows[i].name, glyphs));
  }
  return names;
}

std::string diskTable(const std::vector<DiskRow>& rows, const Glyphs& glyphs, std::optional<std::size_t> width) {
  enum Column : std::size_t { NAME, SIZE, TYPE, FILE_SYSTEM, LABEL, MOUNTED };
  static constexpr std::array<std::size_t, 3> DISPENSABLE = {TYPE, FILE_SYSTEM, LABEL};
  std::vector<FittedColumn> columns = {{"Name", false},        {"Size", true},   {"Type", false},
                                       {"File system", false}, {"Label", false}, {"Mounted at", false}};
  columns[NAME].cells = treeNames(rows, glyphs);
  for (const DiskRow& row : rows) {
    columns[SIZE].cells.push_back(bytes(row.size));
    columns[TYPE].cells.push_back(printable(typeOf(row), glyphs));
    columns[FILE_SYSTEM].cells.push_back(printable(orDash(row.fileSystem), glyphs));
    columns[LABEL].cells.push_back(printable(orDash(row.label), glyphs));
    columns[MOUNTED].cells.push_back(printable(mountsOf(row), glyphs));
  }
  return fittedTable(std::move(columns), DISPENSABLE, width);
}

std::string diskObject(const DiskRow& row) {
  const auto boolean = [](bool value) { return value ? "true" : "false"; };
  const std::string type = typeOf(row);
  return R"({"name":)" + jsonString(row.name) + R"(,"above":)" + orNull(row.above) + R"(,"size_bytes":)" +
         std::to_string(row.size) + R"(,"type":)" + orNull(type == "-" ? "" : type) + R"(,"content":)" +
         orNull(row.content) + R"(,"file_system":)" + orNull(row.fileSystem) + R"(,"label":)" + orNull(row.label) +
         R"(,"writable":)" + boolean(row.writable) + R"(,"removable":)" + boolean(row.removable) +
         R"(,"mount_points":)" + jsonArray(row.mountPoints, jsonString) + "}";
}

std::string outcomeText(const DiskRequest& request, const DiskOutcome& outcome, const Glyphs& glyphs) {
  if (!outcome.done) return printable(outcome.message + (outcome.message.empty() ? "" : ": ") + outcome.detail, glyphs);
  if (outcome.mounted.empty())
    return printable((request.mounts ? "Mounted /dev/" : "Unmounted /dev/") + request.device, glyphs);
  std::string text;
  for (const auto& [device, folder] : outcome.mounted)
    text += (text.empty() ? "Mounted /dev/" : ", /dev/") + device + " at " + folder;
  return printable(text, glyphs);
}

}  // namespace corvane::inspector
