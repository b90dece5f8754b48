#include "apps/inspector/window/OverviewPage.h"

#include <QActionGroup>
#include <QHBoxLayout>
#include <QLocale>
#include <QResizeEvent>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "apps/inspector/text/ReadingRow.h"
#include "apps/inspector/window/Shown.h"
#include "corvane/core/Timeval.h"
#include "corvane/infra/settings/DefaultSettings.h"

namespace corvane::inspector {

namespace {

constexpr char SPAN[] = "window.overview.minutes";
constexpr std::array SPANS = {1, 5, 15, 60};
constexpr int MARGIN = 16, GAP = 12;

}  // namespace

OverviewPage::OverviewPage(Source& source, QWidget* parent)
    : Page(source, parent), m_host(new QLabel), m_uptime(new QLabel), m_spans(new QActionGroup(this)) {
  makeSpans();
  auto* const cards = new QWidget;
  m_grid = new QGridLayout(cards);
  m_grid->setContentsMargins(MARGIN, 0, MARGIN, MARGIN);
  m_grid->setSpacing(GAP);
  makeCards();
  auto* const scroll = new QScrollArea;
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll->setWidgetResizable(true);
  scroll->setWidget(cards);
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins({});
  layout->setSpacing(0);
  layout->addWidget(makeHeader());
  layout->addWidget(scroll, 1);
}

QWidget* OverviewPage::makeHeader() {
  QFont font = m_host->font();
  font.setPointSizeF(font.pointSizeF() * 1.4);
  font.setWeight(QFont::DemiBold);
  m_host->setFont(font);
  m_host->setTextFormat(Qt::PlainText);
  m_host->setTextInteractionFlags(Qt::TextSelectableByMouse);
  m_host->setText(shown(source().host()));
  m_uptime->setToolTip(tr("How long this program has been running"));
  auto* const header = new QWidget;
  auto* const row = new QHBoxLayout(header);
  row->setContentsMargins(MARGIN, MARGIN, MARGIN, GAP);
  row->setSpacing(GAP);
  row->addWidget(m_host);
  row->addWidget(m_uptime, 1, Qt::AlignBaseline);
  auto* const buttons = new QHBoxLayout;
  buttons->setSpacing(2);
  for (QAction* const action : m_spans->actions()) {
    auto* const button = new QToolButton;
    button->setDefaultAction(action);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    buttons->addWidget(button);
  }
  row->addLayout(buttons);
  return header;
}

void OverviewPage::makeSpans() {
  const auto saved = static_cast<int>(Defaults.loadInteger(SPAN, SPANS.front()));
  const int wanted = std::ranges::find(SPANS, saved) == SPANS.end() ? SPANS.front() : saved;
  for (const int minutes : SPANS) {
    auto* const action = new QAction(tr("%1 min").arg(QLocale().toString(minutes)), m_spans);
    action->setToolTip(minutes == 1 ? tr("Show the last minute")
                                    : tr("Show the last %1 minutes").arg(QLocale().toString(minutes)));
    action->setCheckable(true);
    action->setData(minutes);
    action->setChecked(minutes == wanted);
    connect(action, &QAction::triggered, this, [this, minutes] {
      Defaults.saveInteger(SPAN, minutes);
      setSpan(minutes);
    });
    addAction(action);
  }
}

void OverviewPage::makeCards() {
  addCard(tr("Processor"), Unit::PERCENT, {{QString(), Gauge::PROCESSOR}}, true);
  addCard(tr("Memory"), Unit::BYTES, {{QString(), Gauge::MEMORY}}, true);
  addCard(tr("Disks"), Unit::BYTES_PER_SECOND, {{tr("Read"), Gauge::DISK_READ}, {tr("Written"), Gauge::DISK_WRITE}});
  addCard(tr("Network"), Unit::BYTES_PER_SECOND, {{tr("In"), Gauge::NETWORK_IN}, {tr("Out"), Gauge::NETWORK_OUT}});
  addCard(tr("Processes"), Unit::COUNT, {{QString(), Gauge::PROCESSES}});
  addCard(tr("Temperature"), Unit::CELSIUS, {{QString(), Gauge::TEMPERATURE}});
  setSpan(m_spans->checkedAction()->data().toInt());
}

void OverviewPage::addCard(const QString& title, Unit unit, const std::vector<std::pair<QString, Gauge>>& lines,
                           bool isExact) {
  std::vector<LineGraph::Line> drawn;
  Card card{nullptr, {}};
  for (const auto& [name, gauge] : lines) {
    drawn.push_back({name, &source().history(gauge)});
    card.gauges.push_back(gauge);
  }
  card.graph = new LineGraph(title, unit, std::move(drawn), this);
  card.graph->hide();
  const ReadingRow& row = READING_ROWS[static_cast<std::size_t>(card.gauges.front())];
  card.graph->setRange([this, &row](Range shown) { return row.range(source().readings(), shown); }, isExact);
  m_cards.push_back(std::move(card));
}

// What has no sensor is never read; what has no device never has a value.
bool OverviewPage::isMissing(const Card& card) const {
  static constexpr std::size_t ENOUGH = 3;
  return !card.graph->hasValue() && std::ranges::all_of(card.gauges, [this](Gauge gauge) {
    const std::size_t count = source().history(gauge).readings().size();
    return count == 0 || count >= ENOUGH;
  });
}

void OverviewPage::setSpan(int minutes) {
  for (const Card& card : m_cards) card.graph->setSpan(minutes * 60);
}

void OverviewPage::refresh() {
  m_uptime->setText(tr("running for %1").arg(lengthText(source().started().elapsed() / 1'000'000)));
  showNotes();
  arrange();
  for (const Card& card : m_cards)
    if (!card.graph->isHidden()) card.graph->refresh();
}

void OverviewPage::showNotes() {
  const Readings& readings = source().readings();
  for (const Card& card : m_cards) {
    if (card.gauges.front() == Gauge::MEMORY && readings.memory)
      card.graph->setNote(tr("of %1").arg(valueText(static_cast<double>(readings.memory->total), Unit::BYTES)));
    const auto& all = readings.temperatures;
    const auto hottest = std::ranges::max_element(all, {}, &Temperature::celsius);
    if (card.gauges.front() == Gauge::TEMPERATURE && hottest != all.end()) card.graph->setNote(shown(hottest->sensor));
  }
}

void OverviewPage::resizeEvent(QResizeEvent* event) {
  Page::resizeEvent(event);
  arrange();
}

// As many columns as there is room for.
void OverviewPage::arrange() {
  std::vector<const LineGraph*> shown;
  for (const Card& card : m_cards) {
    if (!isMissing(card)) shown.push_back(card.graph);
  }
  const int least = m_cards.front().graph->sizeHint().width();
  const int columns = std::clamp((width() - 2 * MARGIN + GAP) / (least + GAP), 1, 3);
  if (shown == m_arranged && columns == m_columns) return;
  for (int column = 0; column < std::max(columns, m_columns); ++column)
    m_grid->setColumnStretch(column, column < columns ? 1 : 0);
  m_arranged = shown;
  m_columns = columns;
  int place = 0;
  for (const Card& card : m_cards) {
    m_grid->removeWidget(card.graph);
    const bool isShown = std::ranges::find(shown, card.graph) != shown.end();
    if (isShown) m_grid->addWidget(card.graph, place / columns, place % columns), ++place;
    card.graph->setVisible(isShown);
  }
}

}  // namespace corvane::inspector
