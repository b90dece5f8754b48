#include "apps/inspector/window/QueuesPage.h"

#include <QGridLayout>
#include <QLocale>
#include <QSplitter>
#include <algorithm>

#include "apps/inspector/window/Shown.h"
#include "apps/inspector/window/SpanText.h"
#include "corvane/core/Clock.h"

namespace corvane::inspector {

namespace {

// How long it has been running; a dash if that is not known or nothing runs.
QString runningText(std::int64_t since) {
  return since == 0 ? shownOrDash("") : durationText(std::max<std::int64_t>(0, Clock::now() - since));
}

QString longestText(const LongestState& state) {
  if (state.duration == 0) return shownOrDash("");
  const QString length = durationText(state.duration);
  return state.name.empty() ? QueuesPage::tr("%1 at %2", "length, time").arg(length, momentText(state.began))
                            : QueuesPage::tr("%1 at %2: %3", "length, time, name")
                                  .arg(length, momentText(state.began), shown(state.name));
}

// What has run longest comes last in ascending order, what does not run first.
template <class Row>
bool runsShorter(const Row& a, const Row& b) {
  const auto start = [](const Row& row) { return row.runningSince == 0 ? INT64_MAX : row.runningSince; };
  return start(a) > start(b);
}

}  // namespace

std::vector<RowColumn<QueueState>> QueuesPage::queueColumns() {
  using Row = QueueState;
  return {
      {"queue", tr("Queue"), [](const Row& row) { return shown(row.label); },
       [](const Row& a, const Row& b) { return a.label < b.label; }},
      {"waiting", tr("Waiting"), [](const Row& row) { return QLocale().toString(row.depth); },
       [](const Row& a, const Row& b) { return a.depth < b.depth; }, true},
      {"since", tr("Running For"), [](const Row& row) { return runningText(row.runningSince); }, runsShorter<Row>,
       true},
      {"item", tr("Item"), [](const Row& row) { return shownOrDash(row.item); },
       [](const Row& a, const Row& b) { return a.item < b.item; }},
  };
}

std::vector<RowColumn<TimerState>> QueuesPage::timerColumns() {
  using Row = TimerState;
  return {
      {"timer", tr("Timer"), [](const Row& row) { return shown(row.label); },
       [](const Row& a, const Row& b) { return a.label < b.label; }},
      {"period", tr("Period"), [](const Row& row) { return durationText(row.usecs * 1000); },
       [](const Row& a, const Row& b) { return a.usecs < b.usecs; }, true},
      {"since", tr("Running For"), [](const Row& row) { return runningText(row.runningSince); }, runsShorter<Row>},
  };
}

QueuesPage::QueuesPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_queues(queueColumns()),
      m_timers(timerColumns()),
      m_message(new MessageBar),
      m_queueTable(new PageTable(&m_queues, "queues", tr("Serial queues"), {36, 12, 16})),
      m_timerTable(new PageTable(&m_timers, "timers", tr("Timer queues"), {36, 12, 16})) {
  m_queueTable->setPlaceholderText(tr("There are no serial queues."));
  m_timerTable->setPlaceholderText(tr("No timer queue is started."));
  auto* const parts = new QSplitter(Qt::Vertical);
  parts->addWidget(titled(tr("Serial &queues"), m_queueTable));
  parts->addWidget(titled(tr("&Timer queues"), m_timerTable));
  parts->setChildrenCollapsible(false);
  parts->setStretchFactor(0, 3);
  parts->setStretchFactor(1, 2);
  QVBoxLayout* const layout = pageLayout(this);
  layout->addWidget(m_message);
  layout->addWidget(titled(tr("Main queue"), makeMain()));
  layout->addWidget(parts, 1);
  setFocusProxy(m_queueTable);
}

QWidget* QueuesPage::makeMain() {
  auto* const fields = new QWidget;
  auto* const grid = new QGridLayout(fields);
  grid->setContentsMargins(8, 0, 8, 8);
  grid->setHorizontalSpacing(16);
  grid->setVerticalSpacing(4);
  grid->setColumnStretch(1, 1);
  const auto add = [grid](const QString& title) {
    QLabel* const value = fieldValue(title);
    value->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);  // long names must not widen the window
    value->setText(shownOrDash(""));
    const int row = grid->rowCount();
    grid->addWidget(fieldTitle(title), row, 0);
    grid->addWidget(value, row, 1);
    return value;
  };
  m_waiting = add(tr("Waiting"));
  m_running = add(tr("Running now"));
  m_longestWait = add(tr("Longest wait of the last minute"));
  m_longestItem = add(tr("Longest item of the last minute"));
  return fields;
}

void QueuesPage::appear() {
  m_feed = source().followQueues([this](Result<QueueStates> states) { take(std::move(states)); });
}

void QueuesPage::take(Result<QueueStates> states) {
  if (!states)
    return m_message->showFailure(tr("The queues cannot be shown: %1").arg(shown(states.error().description)));
  m_message->clear();
  m_queues.setRows(std::move(states->serial));
  m_timers.setRows(std::move(states->timers));
  const QueueState& main = states->main;
  const auto set = [](QLabel* label, const QString& text) {
    if (label->text() == text) return;  // what is selected of it stays
    label->setText(text);
    label->setToolTip(text);
  };
  set(m_waiting, QLocale().toString(main.depth));
  set(m_running, main.item.empty()
                     ? shownOrDash("")
                     : tr("%1 for %2", "name, length").arg(shown(main.item), runningText(main.runningSince)));
  set(m_longestWait, longestText(states->longestWait));
  set(m_longestItem, longestText(states->longestItem));
}

}  // namespace corvane::inspector
