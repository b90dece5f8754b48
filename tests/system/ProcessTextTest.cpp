#include "corvane/platform/linux/ProcessText.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

using namespace corvane;

const std::string STAT_END =
    " S 60 61 62 34817 63 4194560 100 1 11 13 150 225 -3 4 25 -5 12 0 765432 4096000 2 18446744073709551615 1 1 0 0 0 "
    "0 0 0 0"
    " 0 0 0 17 1 0 3 0 0 0 0 0 0 0 0 0 0 256\n";

// What is well formed: see ProcListTest.cpp.
TEST(ProcessText, Stat) {
  ProcessInfo info;
  const struct {
    char letter;
    ProcessState state;
  } states[] = {{'R', ProcessState::RUNNING}, {'D', ProcessState::SLEEPING}, {'I', ProcessState::SLEEPING},
                {'T', ProcessState::STOPPED}, {'t', ProcessState::STOPPED},  {'Z', ProcessState::ZOMBIE},
                {'X', ProcessState::ZOMBIE},  {'?', ProcessState::UNKNOWN}};
  for (const auto& [letter, state] : states) {
    std::string text = "1 (x)" + STAT_END;
    text[6] = letter;
    EXPECT_TRUE(readProcessStat(text, {}, info));
    EXPECT_EQ(info.state, state) << letter;
  }

  std::string thread = "71 (x)" + STAT_END;
  thread.replace(thread.find(" 17 1 "), 3, " -1");
  for (const std::string& text :
       {thread, std::string(), std::string("70"), std::string("70 (x"), std::string("70 (x)"), std::string("70 x) S 1"),
        std::string("70 )x( S 1 1"), std::string("x (x)" + STAT_END), std::string("0 (x)" + STAT_END),
        ("70 (x)" + STAT_END).substr(0, 60), "99999999999 (x)" + STAT_END})
    EXPECT_FALSE(readProcessStat(text, {}, info)) << text;
}

TEST(ProcessText, Status) {
  for (const char* text :
       {"", "Name:\tx\n", "Uid:\t1\t2\n", "Uid:\tx\n", "Uid:\t1 1 1 1\nTracerPid:\n", "Uid:\t-1 1 1\n"})
    EXPECT_FALSE(readProcessStatus(text)) << text;
}

TEST(ProcessText, Io) {
  for (const char* text :
       {"", "read_bytes: 1\n", "read_bytes: 1\nwrite_bytes: 18446744073709551616\n", "read_bytes: \nwrite_bytes: 1\n"})
    EXPECT_FALSE(readProcessIo(text)) << text;
}

TEST(ProcessText, Regions) {
  const struct {
    const char* line;
    bool writable, shared, file;
  } rows[] = {{"1000-3000 rw-s 00000000 fe:00 6 /a", true, true, true},
              {"1000-3000 ---p 0 00:00 0 [heap]", false, false, false}};
  for (const auto& row : rows) {
    RegionReader reader(0x2000);
    EXPECT_TRUE(reader.take(row.line));
    const MemoryRegion region = reader.region().value();
    EXPECT_EQ((std::array{region.readable, region.writable, region.executable, region.shared, region.file}),
              (std::array{row.writable, row.writable, false, row.shared, row.file}));
    RegionReader none(0x3000);
    EXPECT_TRUE(none.take(row.line));
    EXPECT_FALSE(none.region());
  }
}

TEST(ProcessText, Emulators) {
  EXPECT_TRUE(interpretsExecutables("enabled\ninterpreter /x\nflags: F\noffset 0\nmagic 7f454c460201\nmask ff\n"));
  EXPECT_FALSE(interpretsExecutables("disabled\ninterpreter /x\noffset 0\nmagic 7f454c460201\n"));
  EXPECT_FALSE(interpretsExecutables("enabled\ninterpreter /x\nextension .jar\n"));
  EXPECT_FALSE(interpretsExecutables("enabled\ninterpreter /x\noffset 0\nmagic 4d5a\n"));
  EXPECT_FALSE(interpretsExecutables(""));

  const struct {
    const char* executable;
    const char* machine;
    bool emulates;
  } cases[] = {{"qemu-aarch64", "x86_64", true},
               {"qemu-aarch64-static", "x86_64", true},
               {"qemu-x86_64-static", "aarch64", true},
               {"qemu-x86_64", "x86_64", false},
               {"qemu-system-aarch64", "x86_64", false},
               {"qemu-img", "x86_64", false},
               {"box64", "aarch64", true},
               {"rosetta", "aarch64", true},
               {"rosetta", "x86_64", false},
               {"sleep", "x86_64", false},
               {"", "x86_64", false}};
  for (const auto& [executable, machine, emulates] : cases)
    EXPECT_EQ(isEmulator(executable, machine), emulates) << executable << " on " << machine;
}

}  // namespace
