#pragma once

#include <QGridLayout>
#include <QWidget>
#include <vector>

#include "apps/inspector/model/Machine.h"
#include "apps/inspector/window/LineGraph.h"

namespace corvane::inspector {

/// The machine's readings as graphs, in as many columns as there is room for. What the machine does not have has no
/// graph.
class OverviewGraphs : public QWidget {
  Q_OBJECT

 public:
  /// Points around the graphs and between them.
  static constexpr int MARGIN = 16, GAP = 12;

  /// The machine must outlive the graphs.
  explicit OverviewGraphs(Machine& machine, QWidget* parent = nullptr);

  /// How many minutes they show.
  void setSpan(int minutes);

  /// Shows the readings until now.
  void refresh();

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  struct Card {
    LineGraph* graph;
    std::vector<Gauge> gauges;
  };

  void addCard(const QString& title, Unit unit, const std::vector<std::pair<QString, Gauge>>& lines,
               bool isExact = false);
  bool isMissing(const Card& card) const;
  void arrange();
  void showNotes();

  Machine& m_machine;
  QGridLayout* m_grid;
  std::vector<Card> m_cards;
  std::vector<const LineGraph*> m_arranged;  // in the grid,
  int m_columns = 0;                         // in so many columns
};

}  // namespace corvane::inspector
