#include "corvane/system/ProcessList.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "corvane/testing/FakePlatform.h"
#include "tests/support/Child.h"

namespace {

using namespace corvane;
using Ids = std::vector<std::int32_t>;

Ids idsOf(const ProcessList& list) {
  Ids ids;
  list.iterate([&](std::int32_t pid) { ids.push_back(pid); });
  return ids;
}

TEST(ProcessListTest, ASnapshotStaysUntilTheNextOne) {
  ProcessList list;
  const Ids first = idsOf(list);
  EXPECT_TRUE(std::ranges::is_sorted(first));
  EXPECT_TRUE(std::ranges::binary_search(first, getpid()));
  EXPECT_EQ(std::ranges::adjacent_find(first), first.end()) << "an id twice";
  pid_t later = 0;
  {
    const Child child([] {});
    later = child.pid();
    EXPECT_FALSE(std::ranges::binary_search(idsOf(list), later));
    list.update();
    EXPECT_TRUE(std::ranges::binary_search(idsOf(list), later));
  }
  EXPECT_TRUE(std::ranges::binary_search(idsOf(list), later)) << "ended since";
  list.update();
  EXPECT_FALSE(std::ranges::binary_search(idsOf(list), later));
}

TEST(ProcessListTest, WhereProcessesAreTranslated) {
  FakePlatform fake;
  auto& table = *fake.processTable;
  table.translating = true;
  table.processes[9].info.translated = true;
  table.processes[3].info.translated = true;
  auto& five = table.processes[5].info;
  five.parent = 3;
  five.uid = 7;
  five.name = "five";
  five.started = 9'000;
  five.userTime = 4'000;
  table.boot = 1'000'000;
  ProcessList list;
  list.iterate([](const ProcessList::Process& process) {
    if (process.id != 5) return;
    EXPECT_EQ(process.parent, 3);
    EXPECT_EQ(process.user, 7U);
    EXPECT_EQ(process.name, "five");
    EXPECT_EQ(process.started.usec(), 1'000'009);
    EXPECT_EQ(process.processorTime.usec(), 4);
  });
  EXPECT_EQ(ProcessList::architecture(), arch_apple);
  EXPECT_EQ(idsOf(list), (Ids{3, 5, 9}));
  EXPECT_EQ(list.translated(), 2);
  const auto kinds = [&list] {
    std::vector<std::string> all;
    for (const std::int32_t pid : {3, 5, 9, 4, -1}) {
      all.push_back(list.kind(pid));
      EXPECT_EQ(list.isTranslated(pid), all.back() == "Intel") << pid;
    }
    return all;
  };
  EXPECT_EQ(kinds(), (std::vector<std::string>{"Intel", "Apple", "Intel", "Apple", "Apple"}));

  table.error = Error{"posix", EMFILE, ""};
  table.translating = false;
  EXPECT_EQ(list.translated(), 2) << "not updated yet";
  list.update();
  EXPECT_EQ(idsOf(list), Ids());
  EXPECT_EQ(list.translated(), 0);
  EXPECT_EQ(kinds(), std::vector<std::string>(5, "Apple")) << "the architecture is found out once";
}

// The architecture is found out once: each has a process of its own.
struct Untranslated : testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(ProcessListTest, Untranslated, testing::Bool());

TEST_P(Untranslated, NoneIsOrTheSystemDoesNotReportIt) {
  FakePlatform fake;
  if (!GetParam()) fake.processTable->translating = failure("posix", EACCES, "");
  fake.processTable->processes[3].info.translated = true;
  const ProcessList list;
  EXPECT_EQ(ProcessList::architecture(), GetParam() ? arch_intel : arch_unknown);
  EXPECT_EQ(list.translated(), 0);
  for (const std::int32_t pid : {3, 4, -1}) EXPECT_EQ(list.kind(pid), GetParam() ? "Intel" : "");
}

}  // namespace
