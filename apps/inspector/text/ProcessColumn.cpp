#include "apps/inspector/text/ProcessColumn.h"

#include <algorithm>
#include <compare>

#include "apps/inspector/text/Format.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

std::string orDash(std::string_view text) {
  return std::string(text.empty() ? "-" : text);
}

std::partial_ordering compare(const ProcessRow& a, const ProcessRow& b, ProcessColumn column) {
  switch (column) {
    case ProcessColumn::PID:
      return a.pid <=> b.pid;
    case ProcessColumn::PARENT:
      return a.parent <=> b.parent;
    case ProcessColumn::USER:
      return a.user <=> b.user;
    case ProcessColumn::STATE:
      return a.state <=> b.state;
    case ProcessColumn::KIND:
      return kindName(a.kind) <=> kindName(b.kind);
    case ProcessColumn::PROCESSOR:
      return a.processor <=> b.processor;
    case ProcessColumn::MEMORY:
      return a.memory <=> b.memory;
    case ProcessColumn::THREADS:
      return a.threads <=> b.threads;
    case ProcessColumn::TIME:
      return a.processorUsec <=> b.processorUsec;
    case ProcessColumn::NAME:
      return a.name <=> b.name;
    case ProcessColumn::PATH:
      return a.path <=> b.path;
  }
  return std::partial_ordering::equivalent;
}

}  // namespace

const std::array<ProcessColumnStyle, 11> PROCESS_COLUMNS = {{
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
    {ProcessColumn::NAME, "name", "Name", false, [](const ProcessRow& row) { return orDash(row.name); }},
    {ProcessColumn::PATH, "path", "Path", false, [](const ProcessRow& row) { return orDash(row.path); }},
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

void sortRows(std::vector<ProcessRow>& rows, ProcessColumn column, bool descending) {
  std::ranges::sort(rows, [=](const ProcessRow& a, const ProcessRow& b) {
    const auto order = compare(a, b, column);
    if (order != 0) return descending ? order > 0 : order < 0;
    return a.pid < b.pid;
  });
}

ProcessFilter::ProcessFilter(std::string_view text) : m_text(caseFolded(text)) {}

bool ProcessFilter::matches(const ProcessRow& row) const {
  const auto has = [this](std::string_view text) { return caseFolded(text).find(m_text) != std::string::npos; };
  return has(row.name) || has(row.path) || has(row.user) || std::to_string(row.pid) == m_text;
}

}  // namespace corvane::inspector
