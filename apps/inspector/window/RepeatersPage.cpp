#include "apps/inspector/window/RepeatersPage.h"

#include <QAction>
#include <QLocale>
#include <algorithm>

#include "apps/inspector/window/Shown.h"
#include "corvane/infra/settings/UserDefaults.h"
#include "corvane/ui/RepeaterStatsWindow.h"

namespace corvane::inspector {

namespace {

QString decimals(double value, int digits) {
  return QLocale().toString(value, 'f', digits);
}

// A column of figures.
RowColumn<RepeaterRow> figure(const char* id, const QString& title, auto member, int digits) {
  return {id, title, [member, digits](const RepeaterRow& row) { return decimals(row.*member, digits); },
          [member](const RepeaterRow& a, const RepeaterRow& b) { return a.*member < b.*member; }, true};
}

}  // namespace

std::vector<RowColumn<RepeaterRow>> RepeatersPage::columns() {
  using Row = RepeaterRow;
  return {
      {"name", tr("Name"), [](const Row& row) { return shown(row.name); },
       [](const Row& a, const Row& b) { return a.name < b.name; }},
      {"count", tr("Count"), [](const Row& row) { return QLocale().toString(row.count); },
       [](const Row& a, const Row& b) { return a.count < b.count; }, true},
      figure("total", tr("Total (s)"), &Row::totalSeconds, 3),
      figure("interval", tr("Interval (s)"), &Row::intervalSeconds, 3),
      figure("duration", tr("Duration (µs)"), &Row::durationUsec, 1),
      {"state", tr("State"), [](const Row& row) { return row.paused ? tr("Paused") : tr("Running"); },
       [](const Row& a, const Row& b) { return a.paused < b.paused; }},
  };
}

RepeatersPage::RepeatersPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_model(columns()),
      m_pause(newAction(this, tr("&Pause"), QKeySequence(Qt::CTRL | Qt::Key_P))),
      m_resume(newAction(this, tr("&Resume"), QKeySequence(Qt::CTRL | Qt::Key_R))),
      m_reset(newAction(this, tr("Reset &Statistics"), QKeySequence(Qt::CTRL | Qt::Key_Backspace))),
      m_note(new QLabel),
      m_message(new MessageBar),
      m_table(new PageTable(&m_model, "repeaters", tr("Repeaters"), {30, 12, 14, 14, 16})) {
  m_table->setPlaceholderText(tr("No repeater is running."));
  if (isOfThisProgram())
    connect(newAction(this, tr("Statistics &Window")), &QAction::triggered, this, [] { RepeaterStatsWindow::show(); });
  m_table->addActions(actions());
  m_note->setTextFormat(Qt::PlainText);
  m_note->setWordWrap(true);
  m_note->setContentsMargins(8, 0, 8, 8);
  QVBoxLayout* const layout = pageLayout(this);
  addControls(layout);
  layout->addWidget(m_note);
  layout->addWidget(m_message);
  layout->addWidget(m_table);
  setFocusProxy(m_table);
  connect(m_pause, &QAction::triggered, this, [this] { pause(true); });
  connect(m_resume, &QAction::triggered, this, [this] { pause(false); });
  connect(m_reset, &QAction::triggered, this, [this] {
    this->source().repeaters().resetStats();
    refresh();
  });
  connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &RepeatersPage::noteSelection);
}

void RepeatersPage::addControls(QVBoxLayout* layout) {
  QHBoxLayout* const bar = addBar(layout);
  for (QAction* const action : actions()) bar->addWidget(buttonFor(action));
  bar->addStretch();
  auto* const label = new QLabel(tr("&Average over"));
  auto* const host = new QWidget;
  m_average = new NumberStepper(host, RepeaterSource::MIN_TIME_CONSTANT, RepeaterSource::MAX_TIME_CONSTANT, 1,
                                source().repeaters().timeConstant());
  m_average->setAccessibleName(tr("Seconds that averages are taken over"));
  label->setBuddy(m_average->view());
  host->setFixedWidth(fontMetrics().averageCharWidth() * 12);
  bar->addWidget(label);
  bar->addWidget(host);
  bar->addWidget(new QLabel(tr("s", "seconds")));
  connect(m_average, &NumberStepper::valueChanged, this,
          [this](qlonglong value) { setAverage(static_cast<int>(value)); });
}

bool RepeatersPage::isOfThisProgram() const {
  return source().name().empty();
}

void RepeatersPage::appear() {
  if (!isOfThisProgram()) return;
  takeStoredAverage();
  m_changes = UserDefaults::shared()->listen([this](std::string_view key) {
    if (key == ViewSettings::AVERAGE) takeStoredAverage();
  });
}

void RepeatersPage::refresh() {
  const RepeaterSource& repeaters = source().repeaters();
  m_model.setRows(repeaters.rows());
  const bool mayChange = repeaters.allowsControl();
  m_note->setVisible(!mayChange);
  m_note->setText(mayChange ? QString()
                            : tr("%1 does not allow others to pause its repeaters or to change their statistics.")
                                  .arg(shown(source().name())));
  for (QAction* const action : {m_pause, m_resume, m_reset}) action->setStatusTip(m_note->text());
  m_reset->setEnabled(mayChange);
  m_average->setEnabled(mayChange);
  if (!isOfThisProgram()) m_average->setIntegerValue(repeaters.timeConstant());
  noteSelection();
}

void RepeatersPage::noteSelection() {
  const auto selected = m_table->selectionModel()->selectedRows();
  const auto isAny = [&](bool paused) {
    return std::ranges::any_of(selected, [&](const QModelIndex& index) {
      const RepeaterRow* const row = m_model.at(index);
      return row && row->paused == paused;
    });
  };
  const bool mayChange = source().repeaters().allowsControl();
  m_pause->setEnabled(mayChange && isAny(false));
  m_resume->setEnabled(mayChange && isAny(true));
}

void RepeatersPage::pause(bool pauses) {
  std::vector<std::string> names;
  for (const QModelIndex& index : m_table->selectionModel()->selectedRows())
    if (const RepeaterRow* const row = m_model.at(index); row && row->paused != pauses) names.push_back(row->name);
  for (const std::string& name : names) source().repeaters().togglePause(name);
  refresh();
  m_message->clear();
  if (!isOfThisProgram()) return;
  for (const std::string& name : names)
    if (const auto row = m_model.find(name); row && m_model.rows()[static_cast<std::size_t>(*row)].paused != pauses)
      m_message->showFailure(tr("“%1” keeps this window up to date and cannot be paused.").arg(shown(name)));
}

// The terminal view may have changed it.
void RepeatersPage::takeStoredAverage() {
  const int stored = ViewSettings::load().average;
  if (stored != source().repeaters().timeConstant()) source().repeaters().setTimeConstant(stored);
  m_average->setIntegerValue(stored);
}

void RepeatersPage::setAverage(int seconds) {
  if (seconds == source().repeaters().timeConstant()) return;
  source().repeaters().setTimeConstant(seconds);
  if (!isOfThisProgram()) return;
  const ViewSettings before = ViewSettings::load();
  ViewSettings settings = before;
  settings.average = seconds;
  if (const auto saved = settings.save(before); !saved)
    m_message->showFailure(tr("The time could not be stored: %1").arg(shown(saved.error().description)));
}

}  // namespace corvane::inspector
