#include "apps/inspector/window/ProcessPopover.h"

#include "apps/inspector/window/ProcessText.h"

namespace corvane::inspector {

namespace {

// With its texts, which tell how large it must be.
ProcessDetails* detailsOf(const ProcessRow& row) {
  auto* const details = new ProcessDetails(ProcessDetails::Shape::OWN);
  details->setRow(&row);
  return details;
}

}  // namespace

ProcessPopover::ProcessPopover(Machine& machine, const ProcessRow& row, QObject* parent)
    : QObject(parent), m_row(row), m_details(detailsOf(row)), m_popover(nameOf(row), m_details) {
  connect(&m_popover, &Popover::closed, this, [this] {
    setParent(nullptr);  // so that nobody finds it any more
    deleteLater();
  });
  m_feed = machine.followProcess(row.pid, [this](const Result<std::vector<ProcessRow>>& rows) { take(rows); });
}

bool ProcessPopover::isOf(const ProcessRow& row) const {
  return row.pid == m_row.pid && row.started == m_row.started;
}

void ProcessPopover::show(QWidget& widget, const QRect& place) {
  m_popover.displayView(&widget, place, Qt::BottomEdge);
}

void ProcessPopover::take(const Result<std::vector<ProcessRow>>& rows) {
  if (!rows) return;
  if (rows->empty() || !isOf(rows->front())) return m_details->setEnded(m_row);
  const auto before = m_row.processor;
  m_row = rows->front();
  if (!m_row.processor) m_row.processor = before;  // the first time, nothing has been measured yet
  m_details->setRow(&m_row);
}

}  // namespace corvane::inspector
