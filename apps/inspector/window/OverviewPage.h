#pragma once

#include <QGridLayout>
#include <QLabel>
#include <array>
#include <vector>

#include "apps/inspector/window/LineGraph.h"
#include "apps/inspector/window/Page.h"

class QActionGroup;

namespace corvane::inspector {

/// The machine's readings as graphs.
class OverviewPage : public Page {
  Q_OBJECT

 public:
  explicit OverviewPage(Source& source, QWidget* parent = nullptr);

 protected:
  void refresh() override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  struct Card {
    LineGraph* graph;
    std::vector<Gauge> gauges;
  };

  QWidget* makeHeader();
  void makeSpans();
  void makeCards();
  void addCard(const QString& title, Unit unit, const std::vector<std::pair<QString, Gauge>>& lines,
               bool isExact = false);
  bool isMissing(const Card& card) const;
  void setSpan(int minutes);
  void arrange();
  void showNotes();

  QLabel* m_host;
  QLabel* m_uptime;
  QActionGroup* m_spans;
  QGridLayout* m_grid;
  std::vector<Card> m_cards;
  std::vector<const LineGraph*> m_arranged;  // in the grid,
  int m_columns = 0;                         // in so many columns
};

}  // namespace corvane::inspector
