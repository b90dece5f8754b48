#include "corvane/linux/process/ProcessText.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

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
    EXPECT_EQ(info.exitStatus, state == ProcessState::ZOMBIE ? 256 : 0);
  }

  std::string detached = "1 (x)" + STAT_END;
  detached.replace(detached.find("34817 63"), 8, "0 -1");
  EXPECT_TRUE(readProcessStat(detached, {}, info));
  EXPECT_EQ(info.terminalGroup, 0);

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
  RegionReader empty(0x1000);
  EXPECT_TRUE(empty.take("2000-2000 r--p 00000000 00:00 0"));
  EXPECT_FALSE(empty.region());
}

TEST(ProcessText, Units) {
  using Names = std::vector<std::string>;
  const struct {
    const char* text;
    const char* unit;
    Names identifiers;
  } cases[] = {
      {"0::/user.slice/app.slice/app-org.example.App-12.scope\n", "app-org.example.App-12.scope", {"org.example.App"}},
      {"0::/app-gnome-org.example.App-12.scope",
       "app-gnome-org.example.App-12.scope",
       {"gnome-org.example.App", "org.example.App"}},
      {"3:cpu:/app-x-1.scope\n1:name=systemd:/a/app-kde-my\\x2dapp@9.service/b/c\n0::/\n",
       "app-kde-my\\x2dapp@9.service",
       {"kde-my-app", "my-app"}},
      {"0::/app-a-1.scope/app-b-2.scope\n", "app-b-2.scope", {"b"}},
      {"0::/app-b.service\n", "app-b.service", {"b"}},
      {"0::/app-a-b-c-1.scope\n", "app-a-b-c-1.scope", {"a-b-c", "b-c", "c"}},
      {"0::/app-\\x2e\\x2e\\x2fa-1.scope\n", "app-\\x2e\\x2e\\x2fa-1.scope", {}},
      {"0::/app-\\x4g\\x4-1.scope\n", "app-\\x4g\\x4-1.scope", {"\\x4g\\x4"}},
      {"0::/app-\\x00-\\xg0-\\x-1.scope\n", "app-\\x00-\\xg0-\\x-1.scope", {"\\xg0-\\x", "\\x"}},
      {"0::/app-b.scope\n", "app-b.scope", {}},
      {"0::/app--1.scope\n", "app--1.scope", {}},
      {"0::/app-.service\n", "app-.service", {}},
      {"3:cpu:/app-x-1.scope\n0::/system.slice/app-a.slice\n0::/session-1.scope", "", {}},
      {"", "", {}},
      {"0::", "", {}},
      {"////\n\n:", "", {}},
  };
  for (const auto& [text, unit, identifiers] : cases) {
    EXPECT_EQ(applicationUnit(text), unit) << text;
    EXPECT_EQ(applicationIdentifiers(unit), identifiers) << text;
  }
  EXPECT_EQ(argumentsOf(std::string_view("a\0\0b c\0d", 8)), (std::vector<std::string>{"a", "", "b c", "d"}));
  EXPECT_TRUE(argumentsOf("").empty());
  constexpr std::string_view ENVIRONMENT("AB=1\0A\0A=2=3\0C=", 15);
  EXPECT_EQ(environmentValue(ENVIRONMENT, "A"), "2=3");
  EXPECT_EQ(environmentValue(ENVIRONMENT, "C"), "");
  EXPECT_FALSE(environmentValue(ENVIRONMENT, "B"));
}

TEST(ProcessText, Emulators) {
  EXPECT_TRUE(interpretsExecutables("enabled\ninterpreter /x\nflags: F\noffset 0\nmagic 7f454c460201\nmask ff\n"));
  for (const char* text :
       {"disabled\ninterpreter /x\noffset 0\nmagic 7f454c460201\n", "enabled\ninterpreter /x\nextension .jar\n",
        "enabled\ninterpreter /x\noffset 0\nmagic 4d5a\n", ""})
    EXPECT_FALSE(interpretsExecutables(text)) << text;

  for (const char* name : {"qemu-aarch64", "qemu-aarch64-static"}) EXPECT_TRUE(isEmulator(name, "x86_64")) << name;
  for (const char* name : {"qemu-x86_64", "qemu-system-aarch64", "qemu-img", "rosetta", "sleep", ""})
    EXPECT_FALSE(isEmulator(name, "x86_64")) << name;
  for (const char* name : {"qemu-x86_64-static", "box64", "box86", "rosetta", "FEX", "FEXInterpreter"})
    EXPECT_TRUE(isEmulator(name, "aarch64")) << name;
  EXPECT_FALSE(isEmulator("sleep", "aarch64"));
}

}  // namespace
