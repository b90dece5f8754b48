#include "apps/inspector/window/OverviewGraphs.h"

#include <algorithm>

#include "apps/inspector/text/ReadingRow.h"
#include "apps/inspector/window/Shown.h"

namespace corvane::inspector {

OverviewGraphs::OverviewGraphs(Machine& machine, QWidget* parent)
    : QWidget(parent), m_machine(machine), m_grid(new QGridLayout(this)) {
  m_grid->setContentsMargins(MARGIN, 0, MARGIN, MARGIN);
  m_grid->setSpacing(GAP);
  addCard(tr("Processor"), Unit::PERCENT, {{QString(), Gauge::PROCESSOR}}, true);
  addCard(tr("Memory"), Unit::BYTES, {{QString(), Gauge::MEMORY}}, true);
  addCard(tr("Disks"), Unit::BYTES_PER_SECOND, {{tr("Read"), Gauge::DISK_READ}, {tr("Written"), Gauge::DISK_WRITE}});
  addCard(tr("Network"), Unit::BYTES_PER_SECOND, {{tr("In"), Gauge::NETWORK_IN}, {tr("Out"), Gauge::NETWORK_OUT}});
  addCard(tr("Processes"), Unit::COUNT, {{QString(), Gauge::PROCESSES}});
  addCard(tr("Temperature"), Unit::CELSIUS, {{QString(), Gauge::TEMPERATURE}});
}

void OverviewGraphs::addCard(const QString& title, Unit unit, const std::vector<std::pair<QString, Gauge>>& lines,
                             bool isExact) {
  std::vector<LineGraph::Line> drawn;
  Card card{nullptr, {}};
  for (const auto& [name, gauge] : lines) {
    drawn.push_back({name, &m_machine.history(gauge)});
    card.gauges.push_back(gauge);
  }
  card.graph = new LineGraph(title, unit, std::move(drawn), this);
  card.graph->hide();
  const ReadingRow& row = READING_ROWS[static_cast<std::size_t>(card.gauges.front())];
  card.graph->setRange([this, &row](Range shown) { return row.range(m_machine.readings(), shown); }, isExact);
  m_cards.push_back(std::move(card));
}

// What has no sensor is never read; what has no device never has a value.
bool OverviewGraphs::isMissing(const Card& card) const {
  static constexpr std::size_t ENOUGH = 3;
  return !card.graph->hasValue() && std::ranges::all_of(card.gauges, [this](Gauge gauge) {
    const std::size_t count = m_machine.history(gauge).readings().size();
    return count == 0 || count >= ENOUGH;
  });
}

void OverviewGraphs::setSpan(int minutes) {
  for (const Card& card : m_cards) card.graph->setSpan(minutes * 60);
}

void OverviewGraphs::refresh() {
  showNotes();
  arrange();
  for (const Card& card : m_cards)
    if (!card.graph->isHidden()) card.graph->refresh();
}

void OverviewGraphs::showNotes() {
  const Readings& readings = m_machine.readings();
  for (const Card& card : m_cards) {
    if (card.gauges.front() == Gauge::MEMORY && readings.memory)
      card.graph->setNote(tr("of %1").arg(valueText(static_cast<double>(readings.memory->total), Unit::BYTES)));
    const auto& all = readings.temperatures;
    const auto hottest = std::ranges::max_element(all, {}, &Temperature::celsius);
    if (card.gauges.front() == Gauge::TEMPERATURE && hottest != all.end()) card.graph->setNote(shown(hottest->sensor));
  }
}

void OverviewGraphs::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  arrange();
}

// As many columns as there is room for.
void OverviewGraphs::arrange() {
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
