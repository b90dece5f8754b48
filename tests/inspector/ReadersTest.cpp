#include "apps/inspector/model/Readers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

using namespace std::chrono_literals;

std::string root(const TempHome& home) {
  return home.path().string();
}

TEST(ProcessorReader, TakesTheShareBetweenTwoLooks) {
  EXPECT_EQ(ProcessorReader("/nonexistent").read(), std::nullopt);
  // Two contents of the file in turn, and the reading after the second; negative if there is none.
  const std::tuple<const char*, const char*, double> cases[] = {
      {"cpu  0 0 0 0 0 0 0 0 0 0\ncpu0 1 1 1 1\n", "cpu  20 5 0 60 15 0 0 0 7 7\n", 25},
      {"cpu 0 0 0 0 0 0 0 0", "cpu 0 0 0 50 0 0 0 50", 50},       // stolen time is busy
      {"cpu 0 0 0 0 10 0 0 0\n", "cpu 20 0 0 0 5 0 0 0\n", 100},  // the waiting time decreases
      {"cpu 10 0 0 10\n", "cpu 40 0 0 20\n", 75},                 // four times, on an old kernel
      {"cpu 1 2 3 4\n", "cpu 1 2 3 4\n", -1},                     // no time has passed
      {"cpu 9 9 9 9\n", "cpu 1 2 3 4\n", -1},
      {"cpu 1 2 3 4\n", "cpu 1 2\n", -1},
      {"cpu 1 2 3 4\n", "cpu 1 2 x 4\n", -1},
      {"cpu 1 2 3 4\n", "cpu 18446744073709551615 1 1 1\n", -1},  // the sum is too large
      {"nonsense\n", "cpu 1 2 3 4\n", -1}};
  for (const auto& [first, second, expected] : cases) {
    const TempHome home;
    ProcessorReader reader(root(home));
    home.write("proc/stat", first);
    EXPECT_EQ(reader.read(), std::nullopt);
    home.write("proc/stat", second);
    EXPECT_NEAR(reader.read().value_or(-1), expected, 1e-9) << second;
  }
}

TEST(MemoryReader, CountsWhatIsNotAvailable) {
  const TempHome home;
  const auto used = [&home](const char* text) {
    home.write("proc/meminfo", text);
    const auto memory = MemoryReader(root(home)).read();
    return memory ? static_cast<std::int64_t>(memory->used) : -1;
  };
  EXPECT_EQ(used("MemTotal:   1000 kB\nMemFree: 100 kB\nMemAvailable:  400 kB\nHugePages_Total: 0\n"), 614'400);
  EXPECT_EQ(MemoryReader(root(home)).read()->total, 1'024'000U);
  for (const char* text : {"", "MemTotal: 1000 kB\nMemFree: 100 kB\n", "MemTotal: 1000 kB\nMemAvailable: 1001 kB\n",
                           "MemTotal: 18014398509481985 kB\nMemAvailable: 1 kB\n", "MemTotal: 1000\nMemAvailable: 1\n"})
    EXPECT_EQ(used(text), -1) << text;
}

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
  EXPECT_EQ(reader.read().at(0).sensor, "acpitz");
  EXPECT_DOUBLE_EQ(reader.read().at(0).celsius, 41.5);
  home.write("sys/class/hwmon/hwmon0/name", "coretemp\n");
  home.write("sys/class/hwmon/hwmon0/temp1_input", "54000\n");
  home.write("sys/class/hwmon/hwmon0/temp1_label", "Package id 0\n");
  home.write("sys/class/hwmon/hwmon0/temp2_input", "-3250\n");
  home.write("sys/class/hwmon/hwmon0/temp3_input", "");
  home.write("sys/class/hwmon/hwmon0/temp4_input", "-273200\n");
  home.write("sys/class/hwmon/hwmon0/temp5_input", "warm\n");
  std::filesystem::create_directories(home.path() / "sys/class/hwmon/hwmon0/temp6_input");
  const auto temperatures = reader.read();
  ASSERT_EQ(temperatures.size(), 2U);
  EXPECT_EQ(temperatures[0].sensor, "coretemp Package id 0");
  EXPECT_DOUBLE_EQ(temperatures[0].celsius, 54);
  EXPECT_EQ(temperatures[1].sensor, "coretemp temp2");
  EXPECT_DOUBLE_EQ(temperatures[1].celsius, -3.25);
}

}  // namespace

}  // namespace corvane::inspector
