#include "apps/inspector/text/ProcessColumn.h"

#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

std::string orDash(std::string_view text) {
  return std::string(text.empty() ? "-" : text);
}

}  // namespace

const std::array<ProcessColumnStyle, 14> PROCESS_COLUMNS = {{
    {ProcessColumn::PID, "pid", "PID", true, [](const ProcessRow& row) { return std::to_string(row.pid); }},
    {ProcessColumn::PARENT, "parent", "Parent", true, [](const ProcessRow& row) { return std::to_string(row.parent); }},
    {ProcessColumn::USER, "user", "User", false, [](const ProcessRow& row) { return orDash(row.user); }},
    {ProcessColumn::STATE, "state", "S", false, [](const ProcessRow& row) { return std::string(1, row.state); }},
    {ProcessColumn::KIND, "kind", "Kind", false, [](const ProcessRow& row) { return orDash(kindName(row.kind)); }},
    {ProcessColumn::PROCESSOR, "cpu", "CPU%", true,
     [](const ProcessRow& row) { return row.processor ? decimal(*row.processor, 1) : "-"; }},
    {ProcessColumn::MEMORY, "memory", "Memory", true, [](const ProcessRow& row) { return bytes(row.memory); }},
    {ProcessColumn::THREADS, "threads", "Thr", true, [](const ProcessRow& row) { return std::to_string(row.threads); }},
    {ProcessColumn::TIME, "time", "Time", true, [](const ProcessRow& row) { return duration(row.processorUsec); }},
    {ProcessColumn::FOOTPRINT, "footprint", "Footprint", true,
     [](const ProcessRow& row) { return row.figures ? bytes(row.figures->footprint) : "-"; }},
    {ProcessColumn::READ, "read", "Read", true,
     [](const ProcessRow& row) { return row.figures ? bytes(row.figures->read) : "-"; }},
    {ProcessColumn::WRITTEN, "written", "Written", true,
     [](const ProcessRow& row) { return row.figures ? bytes(row.figures->written) : "-"; }},
    {ProcessColumn::NAME, "name", "Name", false, [](const ProcessRow& row) { return orDash(row.name); }},
    {ProcessColumn::COMMAND, "command", "Command", false,
     [](const ProcessRow& row) { return orDash(commandLine(row)); }},
}};

const ProcessColumnStyle& styleOf(ProcessColumn column) {
  return PROCESS_COLUMNS.at(static_cast<std::size_t>(column));
}

std::string_view kindName(ProcessKind kind) {
  switch (kind) {
    case ProcessKind::NATIVE:
      return "native";
    case ProcessKind::TRANSLATED:
      return "translated";
    case ProcessKind::KERNEL:
      return "kernel";
    case ProcessKind::UNKNOWN:
      return "";
  }
  return "";
}

}  // namespace corvane::inspector
