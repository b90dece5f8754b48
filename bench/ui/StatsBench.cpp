// The statistics window with 10, 1,000 and 10,000 repeaters, sorted by total time: statistics taken anew, shown in
// their new order, and painted. Beside the two usual ways to fill a table: a QTableWidget that gets new items,
// and a model that is reset behind a QSortFilterProxyModel.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QHeaderView>
#include <QSortFilterProxyModel>
#include <QTableWidget>
#include <array>
#include <random>

#include "bench/Measure.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/platform/Platform.h"
#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/RepeaterStatsWindow.h"
#include "corvane/ui/TableView.h"

namespace {

using Stats = std::vector<corvane::Repeater::repeater_stats>;

constexpr int COLUMNS = 5;
constexpr int SORTED = 2;  // the total time
constexpr QSize SIZE(720, 440);

QVariant cell(const corvane::Repeater::repeater_stats& stats, int column) {
  switch (column) {
    case 0:
      return QString::fromStdString(stats.name);
    case 1:
      return qlonglong{stats.count};
    case 2:
      return stats.total_elapsed / 1e6;
    case 3:
      return stats.interval_stats.smoothed / 1e6;
    default:
      return static_cast<qlonglong>(stats.elapsed_stats.smoothed);
  }
}

// An application with two master timers, whose repeaters have the same names and have run once each, for some other
// time. Asking one and then the other, no repeater keeps its place.
class Timers {
 public:
  explicit Timers(int count) {
    std::mt19937 random(1);
    for (auto& timer : m_timers) {
      timer = std::make_shared<corvane::MasterTimer>();
      corvane::MasterTimer::setInstance(timer);
      timer->start();
      int runs = 0;
      for (int i = 0; i < count; ++i) {
        const auto nsec = static_cast<std::int64_t>(random() % 20'000);
        m_repeaters.push_back(std::make_shared<corvane::Repeater>("repeater " + std::to_string(10'000 + i)));
        m_repeaters.back()->start(1e6, [&runs, nsec] {
          bench::spinUntil(bench::nowNsec() + nsec);
          ++runs;
        });
      }
      while (runs < count) QApplication::processEvents();
    }
  }

  /// Makes the other one the shared one.
  const corvane::MasterTimer& next() {
    m_next = !m_next;
    corvane::MasterTimer::setInstance(m_timers[m_next]);
    return *m_timers[m_next];
  }

 private:
  int m_argc = 1;
  char m_name[6] = "bench";
  char* m_argv[2] = {m_name, nullptr};
  const QApplication m_application{(qputenv("QT_QPA_PLATFORM", "offscreen"), m_argc), m_argv};
  const corvane::FakePlatform m_platform;
  std::array<std::shared_ptr<corvane::MasterTimer>, 2> m_timers;
  std::vector<std::shared_ptr<corvane::Repeater>> m_repeaters;
  bool m_next = false;
};

// Measures from new statistics to the finished picture.
template <class Refresh>
void measure(benchmark::State& state, Timers& timers, QTableView& view, Refresh&& refresh) {
  view.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  view.verticalHeader()->setDefaultSectionSize(corvane::TableView().verticalHeader()->defaultSectionSize());
  view.window()->resize(SIZE);
  view.window()->show();
  refresh(timers.next());
  QApplication::processEvents();
  view.selectRow(3);
  for (auto _ : state) {
    refresh(timers.next());
    QApplication::processEvents();
  }
}

void statsCorvane(benchmark::State& state) {
  Timers timers(static_cast<int>(state.range(0)));
  corvane::RepeaterStatsWindow::show();
  const auto window = corvane::RepeaterStatsWindow::shared();
  auto& table = *window->window()->findChild<corvane::TableView*>();
  table.sortByColumn(SORTED, Qt::DescendingOrder);
  measure(state, timers, table, [&](const corvane::MasterTimer&) { window->refresh(); });
  if (table.selectionModel()->selectedRows().size() != 1) state.SkipWithError("the selection is lost");
  window->window()->close();
}

void statsTableWidget(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  Timers timers(count);
  QTableWidget table(count, COLUMNS);
  table.setSelectionBehavior(QTableView::SelectRows);
  table.verticalHeader()->hide();
  measure(state, timers, table, [&](const corvane::MasterTimer& timer) {
    const Stats stats = timer.repeaterStats();
    for (int row = 0; row < count; ++row) {
      for (int column = 0; column < COLUMNS; ++column) {
        auto* const item = new QTableWidgetItem;
        item->setData(Qt::DisplayRole, cell(stats[static_cast<std::size_t>(row)], column));
        table.setItem(row, column, item);
      }
    }
    table.sortItems(SORTED, Qt::DescendingOrder);
  });
}

class ResetModel : public QAbstractTableModel {
 public:
  void reset(Stats stats) {
    beginResetModel();
    m_stats = std::move(stats);
    endResetModel();
  }
  int rowCount(const QModelIndex& = {}) const override { return static_cast<int>(m_stats.size()); }
  int columnCount(const QModelIndex& = {}) const override { return COLUMNS; }
  QVariant data(const QModelIndex& index, int role) const override {
    if (role != Qt::DisplayRole) return {};
    return cell(m_stats[static_cast<std::size_t>(index.row())], index.column());
  }

 private:
  Stats m_stats;
};

void statsProxy(benchmark::State& state) {
  Timers timers(static_cast<int>(state.range(0)));
  ResetModel model;
  QSortFilterProxyModel sorted;
  sorted.setSourceModel(&model);
  QTableView table;
  table.setModel(&sorted);
  table.setSelectionBehavior(QTableView::SelectRows);
  table.verticalHeader()->hide();
  table.sortByColumn(SORTED, Qt::DescendingOrder);
  sorted.sort(SORTED, Qt::DescendingOrder);
  measure(state, timers, table, [&](const corvane::MasterTimer& timer) { model.reset(timer.repeaterStats()); });
}

const bool isRegistered = [] {
  const std::pair<const char*, void (*)(benchmark::State&)> candidates[] = {
      {"Corvane RepeaterStatsWindow", statsCorvane},
      {"QTableWidget", statsTableWidget},
      {"QSortFilterProxyModel", statsProxy}};
  for (const int count : {10, 1'000, 10'000}) {
    for (const auto& [name, function] : candidates) {
      const std::string path = "stats." + std::to_string(count) + '/' + name;
      benchmark::RegisterBenchmark(path.c_str(), function)->Arg(count)->Unit(benchmark::kMicrosecond);
    }
  }
  return true;
}();

}  // namespace
