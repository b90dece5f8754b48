#include "corvane/ui/TableView.h"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QMenu>
#include <QScrollBar>
#include <QTest>

#include "corvane/ui/RowModel.h"

namespace corvane {
namespace {

struct Fruit {
  std::string name;
  int count = 0;
};
struct NameOf {
  const std::string& operator()(const Fruit& fruit) const { return fruit.name; }
};
using Fruits = std::vector<Fruit>;

// Name, count, and a note that cannot be sorted by.
struct TableViewTest : testing::Test {
  TableViewTest() {
    view.setModel(&model);
    view.resize(600, 300);
    view.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&view));
  }
  void click(int column) {
    QHeaderView& header = *view.horizontalHeader();
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, {header.sectionViewportPosition(column) + 9, 5});
  }
  std::string shown() const {
    std::string names;
    for (const Fruit& fruit : model.rows()) names += fruit.name;
    return names;
  }
  static Fruits many(int count, int from = 0) {
    Fruits fruits;
    for (int i = from; i < from + count; ++i) fruits.push_back({"f" + std::to_string(10'000 + i), i * 7919 % 1000});
    return fruits;
  }
  std::string topName() { return model.at(view.indexAt({5, 5}))->name; }
  static QAction& inMenu(const QString& text) {
    for (QWidget* const widget : QApplication::topLevelWidgets())
      for (QAction* const action : qobject_cast<QMenu*>(widget) ? widget->actions() : QList<QAction*>())
        if (action->text() == text && widget->isVisible()) return *action;
    throw std::runtime_error("not in the menu: " + text.toStdString());
  }

  RowModel<Fruit, NameOf> model{{
      {"name", "Name", [](const Fruit& fruit) { return QString::fromStdString(fruit.name); },
       [](const Fruit& a, const Fruit& b) { return a.name < b.name; }},
      {"count", "Count", [](const Fruit& fruit) { return QString::number(fruit.count); },
       [](const Fruit& a, const Fruit& b) { return a.count < b.count; }, true},
      {"note",
       "Note",
       [](const Fruit&) { return "a\tb\n"; },
       {},
       false,
       [](const Fruit& fruit, int role) { return role == Qt::ToolTipRole ? fruit.count : QVariant(); }},
  }};
  const QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
  TableView view;
};

TEST_F(TableViewTest, SortsByHeadersAndKeepsEqualRowsInPlace) {
  model.setRows({{"c", 1}, {"b", 2}, {"d", 1}, {"a", 1}});
  EXPECT_EQ(shown(), "cbda") << "as given";
  for (const auto& [column, names] : std::vector<std::pair<int, std::string>>{
           {1, "bacd"}, {1, "acdb"}, {2, "acdb"}, {0, "abcd"}, {0, "dcba"}, {2, "dcba"}}) {
    click(column);
    EXPECT_EQ(shown(), names) << column;
    EXPECT_NE(view.horizontalHeader()->sortIndicatorSection(), 2);
  }
  model.setRows({{"b", 1}, {"c", 1}});
  EXPECT_EQ(shown(), "cb");
  EXPECT_EQ(model.index(0, 2).data(Qt::ToolTipRole), 1);
  EXPECT_FALSE(model.at(model.index(1, 0).siblingAtRow(2)) || model.find("d"));
  EXPECT_EQ(model.find("b"), 1);
  EXPECT_EQ(QAccessible::queryAccessibleInterface(&view)->tableInterface()->columnDescription(1), "Count");
}

TEST_F(TableViewTest, SelectionCurrentRowAndViewFollowTheirRows) {
  view.sortByColumn(0, Qt::AscendingOrder);
  model.setRows(many(2'000, 1'000));
  view.setColumnWidth(0, 333);
  view.selectRow(3);
  view.selectionModel()->select(model.index(4, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
  view.selectionModel()->setCurrentIndex(model.index(5, 1), QItemSelectionModel::NoUpdate);
  model.setRows(many(2'000, 990));
  EXPECT_EQ(topName(), "f10990") << "stays at the top";
  view.verticalScrollBar()->setValue(60 * view.rowHeight(0) + 3);
  const std::string top = topName();
  model.setRows(many(3'000, 0));
  EXPECT_EQ(topName(), top);
  EXPECT_EQ(model.at(view.currentIndex())->name, "f11005");
  EXPECT_EQ(view.selectedText().toStdString(), "Name\tCount\tNote\nf11003\t757\ta b \nf11004\t676\ta b ");
  const int place = view.verticalScrollBar()->value();
  view.sortByColumn(1, Qt::AscendingOrder);
  EXPECT_EQ(view.verticalScrollBar()->value(), place) << "rows that part company";
  model.setRows(many(1, 1'004));
  EXPECT_EQ(view.selectedText().toStdString(), "f11004\t676\ta b ");
  EXPECT_FALSE(view.currentIndex().isValid());
  model.setRows({});
  model.setRows({{"twin", 1}, {"twin", 2}, {"x", 3}});
  view.selectAll();
  model.setRows({{"twin", 3}, {"x", 2}, {"twin", 1}, {"twin", 0}});
  EXPECT_EQ(view.selectionModel()->selectedRows().size(), 3);
  EXPECT_EQ(view.columnWidth(0), 333);
}

TEST_F(TableViewTest, CopiesByKeyAndMenuAndGoesToTheEnds) {
  model.setRows({{"a", 1}, {"b", 2}, {"c", 3}});
  view.setCurrentIndex(model.index(0, 1));
  QTest::keyClick(&view, Qt::Key_B);
  EXPECT_EQ(view.selectedText(), "b\t2\ta b ");
  QTest::keyClick(&view, Qt::Key_End);
  QTest::keyClick(&view, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(), "c\t3\ta b ");
  view.horizontalHeader()->moveSection(1, 0);
  view.horizontalHeader()->customContextMenuRequested({5, 5});
  inMenu("Note").trigger();
  QTest::keyClick(&view, Qt::Key_Home, Qt::ShiftModifier);
  view.addAction("Own");
  QContextMenuEvent event(QContextMenuEvent::Keyboard, {5, 5}, view.mapToGlobal(QPoint(5, 5)));
  QCoreApplication::sendEvent(view.viewport(), &event);
  EXPECT_TRUE(inMenu("Own").isVisible() && inMenu("Select All").isEnabled());
  inMenu("Copy").trigger();
  EXPECT_EQ(QApplication::clipboard()->text(), "Count\tName\n1\ta\n2\tb\n3\tc");
}

TEST_F(TableViewTest, RestoresItsColumns) {
  EXPECT_TRUE(view.restoreState("note:80:h gone:10 count:99:d name:5"));
  const QString state = view.state();
  EXPECT_TRUE(testing::Matches(testing::StartsWith("note:0:h count:99:d name:"))(state.toStdString()))
      << state.toStdString();
  for (const char* bad : {"", "name", "name:x", "name:5:z", "name:-1", "name:1 name:2", "name:5:a count:5:a",
                          "name:1:2:3", "name:1:h count:1:h"})
    EXPECT_FALSE(view.restoreState(bad)) << bad;
  EXPECT_EQ(view.state(), state);
  EXPECT_TRUE(view.restoreState("name:50 note:60:d"));
  EXPECT_TRUE(view.state().startsWith("name:50 note:60 count:")) << view.state().toStdString();
}

}  // namespace
}  // namespace corvane
