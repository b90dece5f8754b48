#include "apps/inspector/model/ProcessSample.h"

#include <gtest/gtest.h>

#include "apps/inspector/model/ProcessOrder.h"
#include "corvane/testing/FakePlatform.h"

namespace corvane::inspector {

namespace {

using std::chrono::milliseconds;

constexpr ProcessSampler::Clock::time_point BEGIN{};
constexpr pid_t PID = 1 << 30;  // larger than any that there is

ProcessInfo process(std::string name, std::uint64_t startedUsec, std::uint64_t userMsec, std::uint64_t systemMsec) {
  ProcessInfo info;
  info.name = std::move(name);
  info.state = ProcessState::SLEEPING;
  info.started = startedUsec * 1000;
  info.userTime = userMsec * 1'000'000;
  info.systemTime = systemMsec * 1'000'000;
  return info;
}

std::string order(const std::vector<ProcessRow>& rows) {
  std::string names;
  for (const ProcessRow& row : rows) names += row.name;
  return names;
}

TEST(ProcessSampler, SharesAreOfTheSameProcessOverTheInterval) {
  FakePlatform fake;
  auto& processes = fake.processTable->processes;
  processes[1].info = process("steady", 10, 1000, 500);
  processes[2].info = process("replaced", 20, 90'000, 0);
  processes[3].info = process("ends", 30, 70'000, 0);
  ProcessSampler sampler(BEGIN);
  processes[1].info = process("steady", 10, 1400, 600);
  processes[2].info = process("replacement", 21, 200, 0);
  processes.erase(3);
  processes[4].info = process("new", 40, 3000, 1000);
  const auto rows = sampler.sample(BEGIN + milliseconds(2000));
  ASSERT_TRUE(rows);
  EXPECT_EQ(order(*rows), "steadyreplacementnew");
  EXPECT_EQ(rows->at(0).processor, 25);
  EXPECT_EQ(rows->at(0).processorUsec, 2'000'000);
  EXPECT_EQ(rows->at(1).processor, 10) << "another process with the same id";
  EXPECT_EQ(rows->at(2).processor, 200) << "on two processors";
  EXPECT_EQ(sampler.seconds(), 2);
  processes[1].info = process("steady", 10, 1450, 600);
  EXPECT_EQ(sampler.sample(BEGIN + milliseconds(2500))->at(0).processor, 10) << "since the sample before";
  EXPECT_EQ(sampler.sample(BEGIN + milliseconds(2500))->at(0).processor, std::nullopt);
}

TEST(ProcessSampler, TellsWhatTheTableTells) {
  FakePlatform fake;
  fake.processTable->boot = 5'000'000;
  auto& plain = fake.processTable->processes[PID];
  plain.info = process("a name that fills more than 16 bytes", 2000, 0, 0);
  plain.info.parent = 1;
  plain.info.uid = 4'000'000'000;
  plain.info.residentBytes = 4096;
  plain.info.threads = 3;
  plain.path = "/bin/x y";
  plain.arguments = {"x", "y z"};
  auto& kernel = fake.processTable->processes[PID + 1];
  kernel = plain;
  kernel.info.kernel = true;
  kernel.info.uid = 0;
  const char* name = "a name that fills more than 16 ";
  const ProcessRow expected{PID,  1, 4'000'000'000, "4000000000",   'S', ProcessKind::NATIVE, name, "/bin/x y", 0, 0,
                            4096, 3, 5'002'000,     plain.arguments};
  const auto rows = ProcessSampler(BEGIN).sample(BEGIN + milliseconds(100));
  ASSERT_TRUE(rows);
  EXPECT_EQ(rows->at(0), expected);
  EXPECT_EQ(rows->at(1).user, "root");
  EXPECT_EQ(rows->at(1).kind, ProcessKind::KERNEL);
  EXPECT_EQ(rows->at(1).path, "");
  for (const auto& [state, letter] : {std::pair(ProcessState::RUNNING, 'R'), std::pair(ProcessState::STOPPED, 'T'),
                                      std::pair(ProcessState::ZOMBIE, 'Z'), std::pair(ProcessState::UNKNOWN, '?')}) {
    plain.info.state = state;
    EXPECT_EQ(ProcessSampler().sample()->front().state, letter);
  }
}

TEST(ProcessSampler, KindsFollowTheMachineAndTheProcess) {
  FakePlatform fake;
  fake.processTable->processes[1].info = process("plain", 1, 0, 0);
  fake.processTable->processes[2].info = process("foreign", 1, 0, 0);
  fake.processTable->processes[2].info.translated = true;
  const Result<bool> refused = failure("posix", EACCES, "refused");
  for (const auto& [translating, kind] :
       {std::pair(Result<bool>(false), ProcessKind::NATIVE), std::pair(Result<bool>(true), ProcessKind::NATIVE),
        std::pair(refused, ProcessKind::UNKNOWN)}) {
    fake.processTable->translating = translating;
    const auto rows = ProcessSampler().sample();
    EXPECT_EQ(rows->at(0).kind, kind);
    EXPECT_EQ(rows->at(1).kind, ProcessKind::TRANSLATED);
  }
}

TEST(ProcessSampler, NoTableNoShares) {
  FakePlatform fake;
  fake.processTable->processes[1].info = process("old", 1, 1000, 0);
  fake.processTable->error = Error{"posix", EMFILE, "no descriptors"};
  ProcessSampler sampler(BEGIN);
  const auto rows = sampler.sample(BEGIN + milliseconds(1000));
  ASSERT_FALSE(rows);
  EXPECT_EQ(rows.error().code, EMFILE);
  fake.processTable->error.reset();
  EXPECT_EQ(sampler.sample(BEGIN + milliseconds(2000))->at(0).processor, std::nullopt);
  EXPECT_EQ(sampler.sample(BEGIN + milliseconds(3000))->at(0).processor, 0);
}

// Every column puts the three in another order than the ids' or by the ids alone.
TEST(ProcessOrder, SortsByEachColumnBothWays) {
  const std::vector<ProcessRow> rows = {
      {3, 1, 0, "u", 'R', ProcessKind::NATIVE, "a", "/c", 5, 2, 30, 1, 0, {"x", "b"}},
      {1, 3, 0, "v", 'S', ProcessKind::KERNEL, "b", "", std::nullopt, 3, 0, 1, 0},
      {2, 2, 0, "u", 'S', ProcessKind::TRANSLATED, "c", "/a", 7.5, 1, 20, 4, 0, {"x", "a"}},
  };
  const std::tuple<ProcessColumn, const char*, const char*> cases[] = {
      {ProcessColumn::PID, "bca", "acb"},     {ProcessColumn::PARENT, "acb", "bca"},
      {ProcessColumn::USER, "cab", "bca"},    {ProcessColumn::STATE, "abc", "bca"},
      {ProcessColumn::KIND, "acb", "bca"},    {ProcessColumn::PROCESSOR, "bac", "cab"},
      {ProcessColumn::MEMORY, "bca", "acb"},  {ProcessColumn::THREADS, "bac", "cba"},
      {ProcessColumn::TIME, "cab", "bac"},    {ProcessColumn::NAME, "abc", "cba"},
      {ProcessColumn::COMMAND, "bca", "acb"},
  };
  for (const auto& [column, ascending, descending] : cases) {
    std::vector<ProcessRow> sorted = rows;
    sortRows(sorted, column, false);
    EXPECT_EQ(order(sorted), ascending) << static_cast<int>(column);
    sortRows(sorted, column, true);
    EXPECT_EQ(order(sorted), descending) << static_cast<int>(column);
  }
}

TEST(ProcessFilter, FindsTextsInAnyCaseAndWholeNumbers) {
  ProcessRow row;
  row.pid = 123;
  row.user = "root";
  row.name = "KÄFER\xff\n";
  row.path = "/usr/lib/käfer";
  row.arguments = {"käfer", "--Option"};
  for (const auto& [text, found] :
       {std::pair("", true), std::pair("käF", true), std::pair("USR/LIB", true), std::pair("oot", true),
        std::pair("123", true), std::pair("12", false), std::pair("käfers", false), std::pair("R --o", true)})
    EXPECT_EQ(ProcessFilter(text).matches(row), found) << text;
}

}  // namespace

}  // namespace corvane::inspector
