#include "apps/inspector/window/PowerPage.h"

#include <QLabel>
#include <QLocale>
#include <QSplitter>
#include <iterator>

#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/Shown.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t MAX_EVENTS = 1000;

// The columns that tell of a record, for rows that have one.
template <class Row>
std::vector<RowColumn<Row>> recordColumns(const QStringList& titles, const AssertionRecord& (*recordOf)(const Row&)) {
  const auto column = [&](const char* id, int title, auto textOf) {
    return RowColumn<Row>{id, titles[title], [=](const Row& row) { return shownOrDash(textOf(recordOf(row))); },
                          [=](const Row& a, const Row& b) { return textOf(recordOf(a)) < textOf(recordOf(b)); }};
  };
  return {
      {"pid", titles[0], [=](const Row& row) { return QString::number(recordOf(row).pid); },
       [=](const Row& a, const Row& b) { return recordOf(a).pid < recordOf(b).pid; }, true},
      column("process", 1, [](const AssertionRecord& record) { return record.process.value_or(""); }),
      column("type", 2, [](const AssertionRecord& record) { return record.type; }),
      column("reason", 3, [](const AssertionRecord& record) { return record.name.value_or(""); }),
  };
}

}  // namespace

std::vector<RowColumn<AssertionRecord>> PowerPage::columns() {
  return recordColumns<Record>({tr("PID"), tr("Process"), tr("Type"), tr("Reason")},
                               [](const Record& row) -> const Record& { return row; });
}

std::vector<RowColumn<PowerPage::Event>> PowerPage::eventColumns() {
  std::vector<RowColumn<Event>> columns = {
      {"time", tr("Time", "of the day"),
       [](const Event& row) { return QLocale().toString(row.time.time(), QLocale::LongFormat); },
       [](const Event& a, const Event& b) { return a.number < b.number; }},
      {"event", tr("Event"), [](const Event& row) { return row.isTaken ? tr("Taken") : tr("Released"); },
       [](const Event& a, const Event& b) { return a.isTaken < b.isTaken; }},
  };
  for (RowColumn<Event>& column : recordColumns<Event>({tr("PID"), tr("Process"), tr("Type"), tr("Reason")},
                                                       [](const Event& row) -> const Record& { return row.record; }))
    columns.push_back(std::move(column));
  return columns;
}

PowerPage::PowerPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_model(columns()),
      m_eventModel(eventColumns()),
      m_table(new PageTable(&m_model, "power", tr("Who keeps the machine awake"), {10, 24, 32})),
      m_eventTable(new PageTable(&m_eventModel, "powerEvents", tr("Changes"), {16, 12, 10, 24, 32})) {
  m_eventTable->setPlaceholderText(tr("Nothing has changed so far."));
  auto* const parts = new QSplitter(Qt::Vertical);
  parts->addWidget(titled(tr("Keeps the machine &awake"), m_table));
  parts->addWidget(titled(tr("&Changes while this page is shown"), m_eventTable));
  parts->setChildrenCollapsible(false);
  parts->setStretchFactor(0, 3);
  parts->setStretchFactor(1, 2);
  pageLayout(this)->addWidget(parts);
  setFocusProxy(m_table);
}

void PowerPage::appear() {
  m_table->setPlaceholderText(tr("Asking the system…"));
  m_feed =
      source().machine().followAssertions([this](Result<std::vector<Record>> records) { take(std::move(records)); });
}

void PowerPage::disappear() {
  m_feed.reset();
  m_known.reset();
}

void PowerPage::take(Result<std::vector<Record>> records) {
  m_table->setPlaceholderText(records ? tr("Nobody keeps the machine awake.") : shown(records.error().description));
  if (records && m_known) addEvents(changesBetween(*m_known, *records));
  if (records)
    m_known = *records;
  else
    m_known.reset();
  m_model.setRows(records ? std::move(*records) : std::vector<Record>());
}

void PowerPage::addEvents(const AssertionChanges& changes) {
  const QDateTime now = QDateTime::currentDateTime();
  const auto add = [&](const std::vector<Record>& records, bool isTaken) {
    for (const Record& record : records)
      m_events.insert(m_events.begin(), {m_events.empty() ? 0 : m_events.front().number + 1, now, isTaken, record});
  };
  add(changes.released, false);
  add(changes.taken, true);
  if (m_events.size() > MAX_EVENTS) m_events.resize(MAX_EVENTS);
  if (!changes.released.empty() || !changes.taken.empty()) m_eventModel.setRows(m_events);
}

}  // namespace corvane::inspector
