#include "apps/inspector/model/Readers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <tuple>

#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

using namespace std::chrono_literals;

std::string root(const TempHome& home) {
  return home.path().string();
}

// Two contents of a file in turn, and the reading after the second; negative for none.
struct Processor {
  const char* name;
  const char* first;
  const char* second;
  double expected;
};

class ProcessorReaderTest : public testing::TestWithParam<Processor> {};

TEST_P(ProcessorReaderTest, Reads) {
  const TempHome home;
  ProcessorReader reader(root(home));
  home.write("proc/stat", GetParam().first);
  EXPECT_EQ(reader.read(), std::nullopt);
  home.write("proc/stat", GetParam().second);
  EXPECT_NEAR(reader.read().value_or(-1), GetParam().expected, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(
    Files, ProcessorReaderTest,
    testing::Values(Processor{"QuarterBusy", "cpu  0 0 0 0 0 0 0 0 0 0\ncpu0 1 1 1 1\n",
                              "cpu  20 5 0 60 15 0 0 0 7 7\n", 25},
                    Processor{"StolenTimeIsBusy", "cpu 0 0 0 0 0 0 0 0", "cpu 0 0 0 50 0 0 0 50", 50},
                    Processor{"OldKernelWithFourTimes", "cpu 10 0 0 10\n", "cpu 40 0 0 20\n", 75},
                    Processor{"WaitingTimeGoesBack", "cpu 0 0 0 0 10 0 0 0\n", "cpu 20 0 0 0 5 0 0 0\n", 100},
                    Processor{"NoTimePassed", "cpu 1 2 3 4\n", "cpu 1 2 3 4\n", -1},
                    Processor{"TimeGoesBack", "cpu 9 9 9 9\n", "cpu 1 2 3 4\n", -1}, Processor{"Empty", "", "", -1},
                    Processor{"Short", "cpu 1 2 3 4\n", "cpu 1 2\n", -1},
                    Processor{"NotANumber", "cpu 1 2 3 4\n", "cpu 1 2 x 4\n", -1},
                    Processor{"Negative", "cpu 1 2 3 4\n", "cpu 9 2 -3 4\n", -1},
                    Processor{"SumTooLarge", "cpu 1 2 3 4\n", "cpu 18446744073709551615 1 1 1\n", -1},
                    Processor{"NumberTooLarge", "cpu 1 2 3 4\n", "cpu 99999999999999999999 1 1 1\n", -1},
                    Processor{"FirstWasUnreadable", "nonsense\n", "cpu 1 2 3 4\n", -1}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(ProcessorReader, MissingFileIsNoReading) {
  EXPECT_EQ(ProcessorReader("/nonexistent").read(), std::nullopt);
}

struct MemoryFile {
  const char* name;
  const char* text;
  std::optional<std::pair<std::uint64_t, std::uint64_t>> expected;  // used, total
};

class MemoryReaderTest : public testing::TestWithParam<MemoryFile> {};

TEST_P(MemoryReaderTest, Reads) {
  const TempHome home;
  home.write("proc/meminfo", GetParam().text);
  const auto memory = MemoryReader(root(home)).read();
  ASSERT_EQ(memory.has_value(), GetParam().expected.has_value());
  if (memory) {
    EXPECT_EQ(std::pair(memory->used, memory->total), *GetParam().expected);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Files, MemoryReaderTest,
    testing::Values(MemoryFile{"Usual",
                               "MemTotal:   1000 kB\nMemFree: 100 kB\nMemAvailable:  400 kB\nHugePages_Total: 0\n",
                               std::pair(614'400U, 1'024'000U)},
                    MemoryFile{"NoAvailable", "MemTotal: 1000 kB\nMemFree: 100 kB\n", std::nullopt},
                    MemoryFile{"MoreAvailableThanThere", "MemTotal: 1000 kB\nMemAvailable: 1001 kB\n", std::nullopt},
                    MemoryFile{"TooLarge", "MemTotal: 18014398509481985 kB\nMemAvailable: 1 kB\n", std::nullopt},
                    MemoryFile{"NoUnit", "MemTotal: 1000\nMemAvailable: 1\n", std::nullopt},
                    MemoryFile{"Empty", "", std::nullopt},
                    MemoryFile{"CutInALine", "MemTotal: 1000 kB\nMemAvai", std::nullopt}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(DiskReader, CountsWholePhysicalDisksOnce) {
  const TempHome home;
  for (const char* disk : {"sda", "nvme0n1", "cciss!c0d0", "nvme0c0n1"})
    std::filesystem::create_directories(home.path() / "sys/block" / disk / "device");
  std::filesystem::create_directories(home.path() / "sys/block/dm-0");
  home.write("sys/block/nvme0c0n1/hidden", "1\n");
  home.write("sys/block/sda/hidden", "0\n");
  DiskReader reader(root(home));
  const Moment start{};
  home.write("proc/diskstats",
             "8 0 sda 1 0 100 0 1 0 200 0 0 0 0\n 8 1 sda1 1 0 0 0 1 0 0 0 0 0 0\n254 0 dm-0 1 0 0 0 1 0 0 0\n"
             "259 0 nvme0n1 1 0 0 0 1 0 0 0 0 0 0\n259 1 nvme0c0n1 1 0 0 0 1 0 0 0\n104 0 cciss/c0d0 1 0 0 0 1 0 0 0\n"
             "7 0 loop0 1 0 0 0 1 0 0 0 0 0 0\n");
  EXPECT_FALSE(reader.read(start));
  home.write("proc/diskstats",
             "8 0 sda 1 0 300 0 1 0 200 0 0 0 0\n 8 1 sda1 1 0 200 0 1 0 0 0 0 0 0\n254 0 dm-0 1 0 200 0 1 0 9 0\n"
             "259 0 nvme0n1 1 0 0 0 1 0 40 0 0 0 0\n259 1 nvme0c0n1 1 0 0 0 1 0 40 0\n"
             "104 0 cciss/c0d0 1 0 2 0 1 0 0 0\n7 0 loop0 1 0 200 0 1 0 0 0 0 0 0\n");
  const auto rate = reader.read(start + 2s);
  ASSERT_TRUE(rate);
  EXPECT_DOUBLE_EQ(rate->in, (200 + 2) * 512 / 2.0);
  EXPECT_DOUBLE_EQ(rate->out, 40 * 512 / 2.0);
}

TEST(DiskReader, NonsenseIsNoReading) {
  const TempHome home;
  std::filesystem::create_directories(home.path() / "sys/block/sda/device");
  DiskReader reader(root(home));
  int seconds = 0;
  for (const char* text :
       {"", "8 0 sda 1 0 x 0 1 0 2", "8 0 sda", "\n\n \n", "8 0 sda 1 0 -1 0 1 0 2", "8 0 ../sda 1 0 1 0 1 0 2"}) {
    home.write("proc/diskstats", text);
    EXPECT_FALSE(reader.read(Moment() + std::chrono::seconds(++seconds))) << text;
  }
}

TEST(NetworkReader, CountsAllButLoopback) {
  const TempHome home;
  NetworkReader reader(root(home));
  static constexpr const char* HEADINGS = "Inter-|   Receive  | Transmit\n face |bytes packets|bytes packets\n";
  home.write("proc/net/dev", std::string(HEADINGS) + "lo: 5 0 0 0 0 0 0 0 5 0\neth0:100 1 0 0 0 0 0 0 1000 0 0\n");
  EXPECT_FALSE(reader.read(Moment()));
  home.write("proc/net/dev", std::string(HEADINGS) +
                                 "lo: 9 0 0 0 0 0 0 0 9 0\n  eth0:600 1 0 0 0 0 0 0 3000 0 0\n"
                                 "wlan0: 77 0 0 0 0 0 0 0 77 0\nbad: 1 2\nworse\n");
  const auto rate = reader.read(Moment() + 500ms);
  ASSERT_TRUE(rate);
  EXPECT_DOUBLE_EQ(rate->in, 1000);
  EXPECT_DOUBLE_EQ(rate->out, 4000);
}

TEST(RateMeter, LeavesOutDevicesThatCameWentOrWereReset) {
  RateMeter meter;
  EXPECT_FALSE(meter.update({{"a", {10, 10}}, {"b", {10, 10}}, {"gone", {5, 5}}}, Moment()));
  const auto rate = meter.update({{"a", {30, 40}}, {"b", {3, 99}}, {"new", {1000, 1000}}}, Moment() + 1s);
  ASSERT_TRUE(rate);
  EXPECT_DOUBLE_EQ(rate->in, 20);
  EXPECT_DOUBLE_EQ(rate->out, 30);
  EXPECT_FALSE(meter.update({{"a", {31, 41}}}, Moment() + 1s)) << "no time has passed";
  EXPECT_FALSE(meter.update({}, Moment() + 2s));
  EXPECT_FALSE(meter.update({{"a", {32, 42}}}, Moment() + 3s)) << "nothing to compare with";
}

TEST(ProcessReader, CountsNumberedFolders) {
  const TempHome home;
  EXPECT_FALSE(ProcessReader(root(home)).read());
  for (const char* name : {"1", "4711", "self", "12a", "sys"})
    std::filesystem::create_directories(home.path() / "proc" / name);
  EXPECT_EQ(ProcessReader(root(home)).read(), 2);
}

TEST(TemperatureReader, PrefersHardwareMonitorsAndSkipsDeadSensors) {
  const TempHome home;
  const TemperatureReader reader(root(home));
  EXPECT_TRUE(reader.read().empty());

  home.write("sys/class/thermal/thermal_zone0/temp", "41500\n");
  home.write("sys/class/thermal/thermal_zone0/type", "acpitz\n");
  ASSERT_EQ(reader.read().size(), 1U);
  EXPECT_EQ(reader.read()[0].sensor, "acpitz");
  EXPECT_DOUBLE_EQ(reader.read()[0].celsius, 41.5);

  home.write("sys/class/hwmon/hwmon0/name", "coretemp\n");
  home.write("sys/class/hwmon/hwmon0/temp1_input", "54000\n");
  home.write("sys/class/hwmon/hwmon0/temp1_label", "Package id 0\n");
  home.write("sys/class/hwmon/hwmon0/temp2_input", "-3250\n");
  home.write("sys/class/hwmon/hwmon0/temp3_input", "");
  home.write("sys/class/hwmon/hwmon0/temp4_input", "-273200\n");
  home.write("sys/class/hwmon/hwmon0/temp5_input", "warm\n");
  home.write("sys/class/hwmon/hwmon0/temp_input", "1\n");
  std::filesystem::create_directories(home.path() / "sys/class/hwmon/hwmon0/temp6_input");
  const auto temperatures = reader.read();
  ASSERT_EQ(temperatures.size(), 2U);
  EXPECT_EQ(temperatures[0].sensor, "coretemp Package id 0");
  EXPECT_DOUBLE_EQ(temperatures[0].celsius, 54);
  EXPECT_EQ(temperatures[1].sensor, "coretemp temp2");
  EXPECT_DOUBLE_EQ(temperatures[1].celsius, -3.25);
}

TEST(Readers, ReadThisMachine) {
  EXPECT_TRUE(MemoryReader("").read());
  EXPECT_GT(ProcessReader("").read().value_or(0), 0);
}

}  // namespace

}  // namespace corvane::inspector
