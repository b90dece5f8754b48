#include "corvane/platform/linux/ProcessText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace corvane;

const std::string STAT_END =
    " S 60 61 62 34817 63 4194560 100 1 11 13 150 225 -3 4 25 -5 12 0 765432 4096000 2 18446744073709551615 1 1 0 0 0 "
    "0 0 0 0"
    " 0 0 0 17 1 0 3 0 0 0 0 0 0 0 0 0 0 256\n";

TEST(ProcessText, Stat) {
  ProcessInfo info;
  ASSERT_TRUE(readProcessStat("70 (a) b (c)" + STAT_END, {}, info));
  EXPECT_EQ(info.name, "a) b (c");
  EXPECT_EQ(info.state, ProcessState::SLEEPING);
  EXPECT_EQ((std::vector<int>{info.pid, info.parent, info.group, info.session, info.terminal, info.terminalGroup,
                              info.priority, info.nice, info.threads, info.policy, info.exitStatus}),
            (std::vector<int>{70, 60, 61, 62, 34817, 63, 25, -5, 12, 3, 256}));
  EXPECT_EQ((std::vector<std::uint64_t>{info.minorFaults, info.majorFaults, info.childMajorFaults, info.userTime,
                                        info.systemTime, info.childSystemTime, info.started, info.virtualBytes,
                                        info.residentBytes}),
            (std::vector<std::uint64_t>{100, 11, 13, 1'500'000'000, 2'250'000'000, 40'000'000, 7'654'320'000'000,
                                        4096000, 8192}));
  EXPECT_TRUE(info.executed);
  EXPECT_FALSE(info.kernel || info.exiting);

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
  const auto details = readProcessStatus(
      "Name:\ta\\nUid:\t1 1 1 1\nUid:\t7\t5\t8\t5\nGid:\t9\t6\t10\t6\nTracerPid:\t4\nVmLck:\t    2 kB\nRssAnon:\t 3 "
      "kB\nVmSwap:\t 4 kB\n"
      "voluntary_ctxt_switches:\t20\nnonvoluntary_ctxt_switches:\t22");
  ASSERT_TRUE(details);
  EXPECT_EQ((std::vector<std::uint64_t>{details->realUid, details->savedUid, details->realGid, details->savedGid,
                                        static_cast<std::uint64_t>(details->tracer), details->lockedBytes,
                                        details->anonymousBytes, details->contextSwitches}),
            (std::vector<std::uint64_t>{7, 8, 9, 10, 4, 2048, 7168, 42}));
  for (const char* text :
       {"", "Name:\tx\n", "Uid:\t1\t2\n", "Uid:\tx\n", "Uid:\t1 1 1 1\nTracerPid:\n", "Uid:\t-1 1 1\n"})
    EXPECT_FALSE(readProcessStatus(text)) << text;
}

TEST(ProcessText, Io) {
  const auto bytes =
      readProcessIo("rchar: 1\nwchar: 2\nread_bytes: 18446744073709551615\nwrite_bytes: 4\ncancelled_write_bytes: 5\n");
  ASSERT_TRUE(bytes);
  EXPECT_EQ(bytes->read, UINT64_MAX);
  EXPECT_EQ(bytes->written, 4U);
  for (const char* text :
       {"", "read_bytes: 1\n", "read_bytes: 1\nwrite_bytes: 18446744073709551616\n", "read_bytes: \nwrite_bytes: 1\n"})
    EXPECT_FALSE(readProcessIo(text)) << text;
}

TEST(ProcessText, Regions) {
  RegionReader reader(0x2000);
  bool more = true;
  for (const char* line : {"1000-2000 r--p 00000000 fe:00 5 /below", "Rss:  100 kB", "nonsense",
                           "3000-2000 r--p 0 0:0 0", "1000-3000 rw-s 00000500 fe:00 6  /a b: c", "Size:   8 kB",
                           "Rss:   8 kB", "Shared_Clean:  1 kB", "Shared_Dirty: 2 kB", "Private_Dirty: 3 kB",
                           "Swap: 4 kB", "VmFlags: rd wr", "3000-4000 r-xp 0 0:0 0", "Rss: 5 kB"})
    if (more) more = reader.take(line);
  EXPECT_FALSE(more) << "the next region ends it";
  ASSERT_TRUE(reader.region());
  const MemoryRegion& region = *reader.region();
  EXPECT_EQ((std::vector<std::uint64_t>{region.address, region.size, region.offset, region.residentBytes,
                                        region.sharedBytes, region.dirtyBytes, region.swappedBytes}),
            (std::vector<std::uint64_t>{0x1000, 0x2000, 0x500, 8192, 3072, 5120, 4096}));
  EXPECT_TRUE(region.readable && region.writable && region.shared && region.file && !region.executable);
  RegionReader none(0x5000);
  EXPECT_TRUE(none.take("1000-5000 rw-p 00000000 00:00 0"));
  EXPECT_FALSE(none.region());
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
  constexpr std::string_view ENVIRONMENT("AB=1\0A\0A=2=3\0C=", 15);
  EXPECT_EQ(environmentValue(ENVIRONMENT, "A"), "2=3");
  EXPECT_EQ(environmentValue(ENVIRONMENT, "C"), "");
  EXPECT_FALSE(environmentValue(ENVIRONMENT, "B"));
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
