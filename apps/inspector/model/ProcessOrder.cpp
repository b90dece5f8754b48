#include "apps/inspector/model/ProcessOrder.h"

#include <unistd.h>

#include <algorithm>
#include <compare>

#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

std::optional<std::uint64_t> figure(const ProcessRow& row, std::uint64_t ProcessFigures::*member) {
  return row.figures ? std::optional((*row.figures).*member) : std::nullopt;
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
      return a.kind <=> b.kind;
    case ProcessColumn::PROCESSOR:
      return a.processor <=> b.processor;
    case ProcessColumn::MEMORY:
      return a.memory <=> b.memory;
    case ProcessColumn::THREADS:
      return a.threads <=> b.threads;
    case ProcessColumn::TIME:
      return a.processorUsec <=> b.processorUsec;
    case ProcessColumn::FOOTPRINT:
      return figure(a, &ProcessFigures::footprint) <=> figure(b, &ProcessFigures::footprint);
    case ProcessColumn::READ:
      return figure(a, &ProcessFigures::read) <=> figure(b, &ProcessFigures::read);
    case ProcessColumn::WRITTEN:
      return figure(a, &ProcessFigures::written) <=> figure(b, &ProcessFigures::written);
    case ProcessColumn::NAME:
      return a.name <=> b.name;
    case ProcessColumn::COMMAND:
      return commandLine(a) <=> commandLine(b);
  }
  return std::partial_ordering::equivalent;
}

}  // namespace

void sortRows(std::vector<ProcessRow>& rows, ProcessColumn column, bool descending) {
  std::ranges::sort(rows, [=](const ProcessRow& a, const ProcessRow& b) {
    const auto order = compare(a, b, column);
    if (order != 0) return descending ? order > 0 : order < 0;
    return a.pid < b.pid;
  });
}

bool comesBefore(const ProcessRow& a, const ProcessRow& b, ProcessColumn column) {
  return compare(a, b, column) < 0;
}

bool ProcessFilter::matches(const ProcessRow& row) const {
  const auto has = [this](std::string_view text) { return containsIgnoringCase(text, m_text); };
  // This program's own command line contains the text that it searches for.
  const bool inCommand = row.pid != ::getpid() && has(commandLine(row));
  return inCommand || has(row.name) || has(row.path) || has(row.user) || std::to_string(row.pid) == m_text;
}

}  // namespace corvane::inspector
