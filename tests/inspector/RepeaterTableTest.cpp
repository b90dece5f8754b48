#include "apps/inspector/model/RepeaterTable.h"

#include <gtest/gtest.h>

namespace corvane::inspector {

namespace {

std::string order(const RepeaterTable& table) {
  std::string names;
  for (const RepeaterRow& row : table.rows()) names += row.name;
  return names;
}

// Columns differ in their order: count abc, total bca, interval cab, duration acb (ascending).
const std::vector<RepeaterRow> ROWS = {{"b", 2, 1, 3, 3, false}, {"c", 3, 2, 1, 2, false}, {"a", 1, 3, 2, 1, false}};

TEST(RepeaterTable, SortsByEachColumnBothWays) {
  RepeaterTable table;
  table.setRows(ROWS);
  EXPECT_EQ(order(table), "abc");
  table.sortBy(RepeaterColumn::NAME);
  EXPECT_EQ(order(table), "cba");
  for (const auto& [column, descending] :
       {std::pair(RepeaterColumn::COUNT, "cba"), std::pair(RepeaterColumn::TOTAL, "acb"),
        std::pair(RepeaterColumn::INTERVAL, "bac"), std::pair(RepeaterColumn::DURATION, "bca")}) {
    table.sortBy(column);
    EXPECT_EQ(order(table), descending);
    table.sortBy(column);
    EXPECT_EQ(order(table), std::string(descending + 2, 1) + descending[1] + descending[0]);
  }
  table.setRows({{"b", 1, 0, 0, 0, false}, {"a", 1, 0, 0, 0, false}, {"c", 2, 0, 0, 0, false}});
  table.sortBy(RepeaterColumn::COUNT, true);
  EXPECT_EQ(order(table), "cab") << "equal ones in the order of their names";
}

TEST(RepeaterTable, SelectionStaysOnItsRow) {
  RepeaterTable table;
  table.moveSelection(1);
  EXPECT_EQ(table.selected(), "");
  table.setRows(ROWS);
  EXPECT_EQ(table.selected(), "a");
  table.moveSelection(1);
  table.sortBy(RepeaterColumn::TOTAL);
  EXPECT_EQ(table.selected(), "b");
  EXPECT_EQ(table.selectedIndex(), 2U);
  table.moveSelection(5);
  EXPECT_EQ(table.selected(), "b");
  table.moveSelection(-5);
  EXPECT_EQ(table.selected(), "a");
  table.setRows({{"z", 1, 0, 0, 0, false}});
  EXPECT_EQ(table.selected(), "z") << "the selected one is gone";
  table.setRows({});
  EXPECT_EQ(table.selected(), "");
}

}  // namespace

}  // namespace corvane::inspector
