#include "apps/inspector/window/TimelinePage.h"

#include <QAction>
#include <QFileDialog>
#include <QLineEdit>
#include <QLocale>
#include <QTimer>
#include <QToolButton>
#include <algorithm>
#include <limits>

#include "apps/inspector/window/Background.h"
#include "apps/inspector/window/Shown.h"
#include "apps/inspector/window/SpanText.h"
#include "apps/inspector/window/TimelineLegend.h"
#include "corvane/core/Clock.h"
#include "corvane/core/Files.h"
#include "corvane/infra/Trace.h"

namespace corvane::inspector {

namespace {

constexpr int SECONDS = 10;  // at first

QString number(std::size_t count) {
  return QLocale().toString(static_cast<qulonglong>(count));
}

}  // namespace

TimelinePage::TimelinePage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_record(newAction(this, tr("&Record"), QKeySequence(Qt::CTRL | Qt::Key_R))),
      m_last(newAction(this, tr("Show the &Last"), QKeySequence(Qt::Key_F5))),
      m_save(newAction(this, tr("&Save…"), QKeySequence(QKeySequence::Save))),
      m_longest(newAction(this, tr("Lon&gest of This Name"), QKeySequence(Qt::CTRL | Qt::Key_L))),
      m_message(new MessageBar),
      m_search(new QLineEdit),
      m_view(new TimelineView),
      m_selection(fieldValue(tr("Selected span"))),
      m_same(fieldValue(tr("All spans of this name"))),
      m_count(fieldTitle({})),
      m_clock(new QTimer(this)) {
  m_clock->setInterval(1000);
  m_save->setEnabled(false);
  QVBoxLayout* const layout = pageLayout(this);
  addControls(layout);
  layout->addWidget(m_message);
  layout->addWidget(m_view, 1);
  addFooter(layout);
  makeZoomActions();
  m_view->addActions(actions());
  m_view->setContextMenuPolicy(Qt::ActionsContextMenu);
  m_view->setPlaceholderText(tr("Record, or show the last seconds, to see what the program’s threads did."));
  setFocusProxy(m_view);
  connect(m_record, &QAction::triggered, this, &TimelinePage::toggleRecording);
  connect(m_last, &QAction::triggered, this, [this] { take(static_cast<double>(m_seconds->integerValue())); });
  connect(m_save, &QAction::triggered, this, &TimelinePage::askWhereToSave);
  connect(m_longest, &QAction::triggered, this, &TimelinePage::goToLongest);
  connect(m_clock, &QTimer::timeout, this, [this] { --m_left > 0 ? tellTimeLeft() : toggleRecording(); });
  connect(m_view, &TimelineView::selectionChanged, this, [this] {
    mark();
    tellSelection();
  });
  tellSelection();
}

void TimelinePage::addControls(QVBoxLayout* layout) {
  QHBoxLayout* const bar = addBar(layout);
  bar->addWidget(buttonFor(m_record));
  bar->addWidget(buttonFor(m_last));
  auto* const host = new QWidget;
  m_seconds = new NumberStepper(host, 1, MAX_SECONDS, 1, SECONDS);
  m_seconds->setAccessibleName(tr("Seconds to record or to show"));
  host->setFixedWidth(fontMetrics().averageCharWidth() * 12);
  bar->addWidget(host);
  bar->addWidget(new QLabel(tr("s", "seconds")));
  bar->addStretch();
  m_search->setPlaceholderText(tr("Find"));
  m_search->setAccessibleName(tr("Text to find in the names of spans"));
  m_search->setClearButtonEnabled(true);
  m_search->setMaximumWidth(fontMetrics().averageCharWidth() * 40);
  bar->addWidget(m_search, 1);
  bar->addWidget(buttonFor(m_save));
  connect(m_search, &QLineEdit::textChanged, this, [this] {
    mark();
    tellSelection();
  });
  connect(m_search, &QLineEdit::returnPressed, this, [this] { goOn(false); });
}

// What is selected, and below it the legend.
void TimelinePage::addFooter(QVBoxLayout* layout) {
  m_count->setTextFormat(Qt::PlainText);
  for (QLabel* const label : {m_selection, m_same})
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);  // long names must not widen the window
  auto* const texts = new QVBoxLayout;
  texts->setSpacing(2);
  texts->addWidget(m_selection);
  texts->addWidget(m_same);
  QHBoxLayout* const bar = addBar(layout);
  bar->addLayout(texts, 1);
  bar->addWidget(buttonFor(m_longest));
  auto* const below = new QHBoxLayout;
  below->setContentsMargins(bar->contentsMargins().left(), 0, bar->contentsMargins().right(), bar->spacing());
  below->addWidget(new TimelineLegend, 1);
  below->addWidget(m_count);
  layout->addLayout(below);
}

void TimelinePage::makeZoomActions() {
  const auto add = [this](const QString& text, const QKeySequence& keys, auto slot) {
    connect(newAction(this, text, keys), &QAction::triggered, this, slot);
  };
  add(tr("Find &Next"), QKeySequence(QKeySequence::FindNext), [this] { goOn(false); });
  add(tr("Find &Previous"), QKeySequence(QKeySequence::FindPrevious), [this] { goOn(true); });
  add(tr("Zoom &In"), QKeySequence(QKeySequence::ZoomIn), [this] { m_view->zoomBy(1.25); });
  add(tr("Zoom &Out"), QKeySequence(QKeySequence::ZoomOut), [this] { m_view->zoomBy(0.8); });
  add(tr("Zoom to the Se&lected Span"), QKeySequence(Qt::CTRL | Qt::Key_0), [this] { m_view->zoomToSelected(); });
  add(tr("Show &All"), QKeySequence(Qt::CTRL | Qt::Key_9), [this] { m_view->showAll(); });
}

void TimelinePage::appear() {
  if (!m_watch) m_watch = source().watch();
}

void TimelinePage::disappear() {
  if (!isRecording()) m_watch.reset();
}

// Recordings.

bool TimelinePage::isRecording() const {
  return m_clock->isActive();
}

void TimelinePage::toggleRecording() {
  if (!isRecording()) {
    m_begun = m_left = static_cast<int>(m_seconds->integerValue());
    m_clock->start();
    m_record->setText(tr("&Stop"));
    return tellTimeLeft();
  }
  m_clock->stop();
  m_record->setText(tr("&Record"));
  m_message->clear();
  take(std::max(1, m_begun - m_left));
}

void TimelinePage::tellTimeLeft() {
  m_message->showMessage(tr("Recording… %1 s left").arg(QLocale().toString(m_left)));
}

void TimelinePage::take(double seconds) {
  m_request = source().takeRecording(seconds, [this, seconds, asked = Clock::now()](Result<Recording> recording) {
    arrange(std::move(recording), seconds, asked);
  });
}

void TimelinePage::arrange(Result<Recording> recording, double seconds, std::int64_t asked) {
  m_request.reset();
  if (!isSeen() && !isRecording()) m_watch.reset();
  if (!recording)
    return m_message->showFailure(tr("There is no recording: %1").arg(shown(recording.error().description)));
  using Lanes = std::shared_ptr<const TimelineLanes>;
  m_recording = std::make_shared<Recording>(*std::move(recording));
  const auto arrange = [all = m_recording, seconds, asked] {
    return Lanes(std::make_shared<TimelineLanes>(*all, seconds, asked));
  };
  const bool begins = runInBackground<Lanes>(m_work, this, arrange, [this](Lanes lanes) {
    m_view->setPlaceholderText(tr("Nothing happened in that time."));
    m_view->setLanes(std::move(lanes));
    m_save->setEnabled(m_view->lanes().count() > 0);
    tellCount();
  });
  if (!begins) m_message->showFailure(tr("The system is too busy to show the recording."));
}

void TimelinePage::tellCount() {
  const TimelineLanes& lanes = m_view->lanes();
  QStringList parts = {tr("Spans: %1").arg(number(lanes.count())), durationText(lanes.end() - lanes.begin())};
  if (lanes.lost() > 0) parts << tr("Lost: %1").arg(number(lanes.lost()));
  m_count->setText(parts.join(QStringLiteral(" – ")));
  m_count->setToolTip(lanes.lost() > 0 ? tr("The program did more than a recording holds. The earliest spans are lost.")
                                       : QString());
}

// Spans.

// Those with the text that is searched, or else those of the selected one's name.
void TimelinePage::mark() {
  const TimelineLanes& lanes = m_view->lanes();
  std::vector<bool> marked(lanes.names().size());
  const QString text = m_search->text();
  for (std::size_t name = 0; name < marked.size(); ++name)
    marked[name] = !text.isEmpty() && titleOf(lanes.names()[name]).contains(text, Qt::CaseInsensitive);
  if (text.isEmpty() && m_view->selected()) marked[lanes.at(*m_view->selected()).name] = true;
  m_view->setMarked(std::move(marked));
}

void TimelinePage::tellSelection() {
  const TimelineLanes& lanes = m_view->lanes();
  const auto& place = m_view->selected();
  m_longest->setEnabled(place.has_value());
  const QString text = m_search->text();
  const TimelineLanes::Span* const span = place ? &lanes.at(*place) : nullptr;
  m_selection->setText(span ? lineOf(lanes, *span) : lanes.count() > 0 ? tr("No span is selected.") : QString());
  m_selection->setToolTip(span ? tipOf(lanes, *span) : QString());
  TimelineLanes::Name all{};
  for (std::size_t name = 0; name < lanes.names().size(); ++name) {
    const TimelineLanes::Name& each = lanes.names()[name];
    if (text.isEmpty() ? !span || span->name != name : !m_view->marked()[name]) continue;
    all.count += each.count;
    all.total += std::min(each.total, std::numeric_limits<std::int64_t>::max() - all.total);
    all.longest = std::max(all.longest, each.longest);
  }
  const QString figures =
      tr("%1 – in all %2 – longest %3").arg(number(all.count), durationText(all.total), durationText(all.longest));
  if (lanes.count() == 0 || (text.isEmpty() && !span))
    m_same->clear();
  else
    m_same->setText(text.isEmpty()   ? tr("Spans of this name: %1").arg(figures)
                    : all.count == 0 ? tr("No span’s name contains this text.")
                                     : tr("Spans with this text: %1").arg(figures));
}

void TimelinePage::goOn(bool backward) {
  if (m_search->text().isEmpty() && !m_view->selected()) return find();
  const TimelineLanes& lanes = m_view->lanes();
  auto place = lanes.next(m_view->selected(), backward, m_view->marked());
  if (!place) place = lanes.next(std::nullopt, backward, m_view->marked());  // from the other end
  if (place) m_view->select(place);
}

void TimelinePage::goToLongest() {
  const auto& place = m_view->selected();
  if (place) m_view->select(m_view->lanes().longest(m_view->lanes().at(*place).name));
}

// Files.

void TimelinePage::askWhereToSave() {
  auto* const dialog = new QFileDialog(this, tr("Save Recording"));
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setAcceptMode(QFileDialog::AcceptSave);
  dialog->setNameFilter(tr("Trace events (*.json)"));
  dialog->setDefaultSuffix(QStringLiteral("json"));
  connect(dialog, &QFileDialog::fileSelected, this, &TimelinePage::save);
  dialog->open();
}

void TimelinePage::save(const QString& path) {
  const auto write = [path = QFile::encodeName(path).toStdString(), recording = m_recording,
                      program = source().identity()] { return replaceFile(path, traceJson(program, *recording)); };
  runInBackground<Result<void>>(m_work, this, write, [this, path](const Result<void>& written) {
    written ? m_message->showMessage(tr("%1 was written.").arg(path))
            : m_message->showFailure(tr("%1 could not be written: %2.").arg(path, shown(written.error().description)));
  });
}

}  // namespace corvane::inspector
