#include "corvane/ui/RepeaterStatsWindow.h"

#include <gtest/gtest.h>

#include <QPushButton>
#include <QTest>

#include "corvane/core/MasterTimer.h"
#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "corvane/ui/TableView.h"

namespace corvane {
namespace {

constexpr const char* KEY = "REPEATER_average_interval";

// Repeaters "a", which has run once for two milliseconds, and "b", which has nothing to do.
struct RepeaterStatsWindowTest : testing::Test {
  RepeaterStatsWindowTest() {
    QLocale::setDefault(QLocale("de_DE"));
    timer->start();
    a->start(1234.5678, [this] { clock.advance(Timeval::usec(2000)); });
    b->start(5, nullptr);
    EXPECT_TRUE(QTest::qWaitFor([&] { return timer->repeaterStats().back().count == 1; }));
  }
  ~RepeaterStatsWindowTest() override { timer->stop(); }

  // A window that has been opened; its repeater has run once.
  std::shared_ptr<RepeaterStatsWindow> open() {
    RepeaterStatsWindow::show();
    auto window = RepeaterStatsWindow::shared();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(window->window()));
    nextRefresh();
    return window;
  }
  void nextRefresh() {
    const auto runs = [this] {
      std::int64_t count = 0;
      for (const auto& stats : timer->repeaterStats()) count += stats.name.starts_with("org") ? stats.count : 0;
      return count;
    };
    const auto before = runs();
    clock.advance(Timeval::sec(1));
    EXPECT_TRUE(QTest::qWaitFor([&] { return runs() > before; }));
  }
  static TableView& tableOf(const RepeaterStatsWindow& window) { return *window.window()->findChild<TableView*>(); }
  static std::string shown(const RepeaterStatsWindow& window) {
    TableView& table = tableOf(window);
    table.selectAll();
    return table.selectedText().section('\n', 1).toStdString();
  }
  std::vector<double> timeConstants() const { return {a->timeConstant(), b->timeConstant()}; }

  ManualClock clock{Timeval::sec(1'000'000)};
  FakePlatform fake;
  const std::shared_ptr<MasterTimer> timer = MasterTimer::instance();
  const std::shared_ptr<Repeater> a = std::make_shared<Repeater>("a");
  const std::shared_ptr<Repeater> b = std::make_shared<Repeater>("b");
};

TEST_F(RepeaterStatsWindowTest, ListsTheRepeatersAsTheyAreSorted) {
  const auto window = open();
  const std::string rowA = "a\t1\t0,002\t1234,568\t2000", rowB = "b\t0\t0,000\t0,000\t0";
  EXPECT_TRUE(shown(*window).starts_with(rowA + '\n' + rowB + "\norg.corvane.repeater.stats\t")) << shown(*window);
  const auto headIs = [&](const std::string& text) { return shown(*window).starts_with(text + '\n'); };
  TableView& table = tableOf(*window);
  for (const int column : {1, 2, 3, 4}) {
    table.sortByColumn(column, Qt::DescendingOrder);
    EXPECT_TRUE(headIs(rowA)) << column;
    table.sortByColumn(column, Qt::AscendingOrder);
    EXPECT_FALSE(headIs(rowA)) << column;
  }
  for (const auto& [hide, unhide] : std::vector<std::pair<std::function<void()>, std::function<void()>>>{
           {[&] { table.sortByColumn(-1, Qt::AscendingOrder); }, [&] { table.sortByColumn(0, Qt::AscendingOrder); }},
           {[&] { window->window()->showMinimized(); }, [&] { window->window()->showNormal(); }},
           {[&] { window->window()->hide(); }, [&] { window->window()->show(); }}}) {
    hide();
    a->stop();
    nextRefresh();
    EXPECT_NE(shown(*window).find(rowA), std::string::npos);
    unhide();
    EXPECT_TRUE(headIs(rowB));
    a->start(1234.5678, [this] { clock.advance(Timeval::usec(2000)); });
    nextRefresh();
    nextRefresh();
    EXPECT_TRUE(headIs(rowA));
  }
}

TEST_F(RepeaterStatsWindowTest, SetsTheTimeConstantOfAllRepeatersAndRemembersIt) {
  Defaults.saveInteger(KEY, 0);
  const auto window = open();
  EXPECT_EQ(timeConstants(), (std::vector{1.0, 1.0}));
  EXPECT_EQ(Defaults.loadInteger(KEY, -1), 0) << "stored only when it changes";
  const auto c = std::make_shared<Repeater>("c");
  QTest::keyClick(window->window()->findChild<QWidget*>("text"), Qt::Key_PageUp);
  c->start(1, nullptr);
  EXPECT_EQ(timeConstants(), (std::vector{11.0, 11.0}));
  EXPECT_EQ(c->timeConstant(), 10);
  EXPECT_EQ(Defaults.loadInteger(KEY, -1), 11);
}

TEST_F(RepeaterStatsWindowTest, EachLivesUntilItIsClosed) {
  std::weak_ptr<RepeaterStatsWindow> first = open();
  const auto second = open();
  EXPECT_NE(first.lock(), second);
  QTest::mouseClick(second->window()->findChild<QPushButton*>("reset"), Qt::LeftButton);
  EXPECT_TRUE(shown(*second).starts_with("a\t0\t0,000\t0,000\t0\n"));
  const QPointer<QWidget> view = first.lock()->window();
  view->close();
  EXPECT_TRUE(first.expired());
  EXPECT_TRUE(QTest::qWaitFor([&] { return !view; }));
  EXPECT_EQ(RepeaterStatsWindow::shared(), nullptr);
  EXPECT_EQ(timer->repeaterStats().size(), 3);
  second->window()->close();
  second->resetStats();
  delete open()->window();
  EXPECT_EQ(timer->repeaterStats().size(), 2);
}

}  // namespace
}  // namespace corvane
