#include "apps/inspector/window/BroadcasterPage.h"

#include <QLocale>
#include <QVBoxLayout>
#include <tuple>

namespace corvane::inspector {

namespace {

double average(const broadcaster_stats& row) {
  return row.count > 0 ? static_cast<double>(row.elapsed) / static_cast<double>(row.count) : 0;
}

}  // namespace

BroadcasterPage::BroadcasterPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_model({
          {"key", tr("Key"), [](const broadcaster_stats& row) { return QString::fromStdString(row.key); },
           [](const broadcaster_stats& a, const broadcaster_stats& b) { return a.key < b.key; }},
          {"listener", tr("Listener"),
           [](const broadcaster_stats& row) { return QString::fromStdString(row.listener); },
           [](const broadcaster_stats& a, const broadcaster_stats& b) { return a.listener < b.listener; }},
          {"count", tr("Count"), [](const broadcaster_stats& row) { return QLocale().toString(row.count); },
           [](const broadcaster_stats& a, const broadcaster_stats& b) { return a.count < b.count; }, true},
          {"total", tr("Total (ms)"),
           [](const broadcaster_stats& row) {
             return QLocale().toString(static_cast<double>(row.elapsed) / 1000, 'f', 3);
           },
           [](const broadcaster_stats& a, const broadcaster_stats& b) { return a.elapsed < b.elapsed; }, true},
          {"average", tr("Average (µs)"),
           [](const broadcaster_stats& row) {
             return row.count > 0 ? QLocale().toString(average(row), 'f', 1) : QString();
           },
           [](const broadcaster_stats& a, const broadcaster_stats& b) { return average(a) < average(b); }, true},
      }),
      m_table(new TableView) {
  m_table->setModel(&m_model);
  m_table->setFrameShape(QFrame::NoFrame);
  m_table->setAccessibleName(tr("Listeners"));
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins({});
  layout->addWidget(m_table);
}

void BroadcasterPage::refresh() {
  m_model.setRows(source().listeners());
}

}  // namespace corvane::inspector
