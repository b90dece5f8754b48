#include "apps/inspector/live/DiskPage.h"

#include <gtest/gtest.h>

#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/terminal/Keys.h"
#include "apps/inspector/text/DiskReport.h"
#include "corvane/core/MainQueue.h"
#include "corvane/system/PartitionType.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/inspector/FrameText.h"
#include "tests/support/Pump.h"
#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

// A machine with these disks, in the order of the registry.
struct DisksTest : testing::Test {
  DisksTest() {
    using Device = FakeDeviceRegistry::Device;
    const auto medium = [](const char* name, int unit, bool whole, std::int64_t size, Value::Dictionary more = {}) {
      more.insert({{"BSD Name", name}, {"BSD Unit", unit}, {"Whole", whole ? 1 : 0}, {"Size", size}, {"Writable", 1}});
      return Device{.className = "disk", .alsoMatches = {"IOMedia"}, .properties = std::move(more)};
    };
    Device sda = medium("sda", 1, true, 1'000'000'000'000, {{"Content", "GUID_partition_scheme"}});
    sda.children = {medium("sda1", 1, false, 1 << 30, {{"Content", std::string(PartitionType::contentLinuxData())}}),
                    medium("sda10", 1, false, 1 << 30, {{"ID_FS_TYPE", "ext4"}, {"ID_FS_LABEL_ENC", "My\\x20data"}}),
                    medium("sda2", 1, false, 1 << 30, {{"ID_FS_TYPE", "crypto_LUKS"}})};
    fake.deviceRegistry->devices = {medium("dm-0", 2, true, 1 << 29), medium("loop7", 3, true, 0),
                                    medium("ram0", 4, true, 1 << 20, {{"BSD Major", 1}}), sda,
                                    medium("sdb", 5, true, 1 << 30)};
    fake.diskService->madeOf = {{"dm-0", {"sda2"}}};
    fake.diskService->devices = {"sda", "sda1", "dm-0"};
    perform({.device = "dm-0"});
  }

  TempHome home;
  FakePlatform fake;
};

TEST_F(DisksTest, AreShownAsATree) {
  EXPECT_EQ(diskTable(readDisks(), Glyphs::UNICODE, std::nullopt),
            "Name           Size  Type                  File system  Label    Mounted at\n"
            "sda       931.3 GiB  GUID Partition Table  -            -        -\n"
            "├─sda1      1.0 GiB  Linux Filesystem      -            -        -\n"
            "├─sda2      1.0 GiB  -                     crypto_LUKS  -        -\n"
            "│ └─dm-0  512.0 MiB  -                     -            -        /media/dm-0\n"
            "└─sda10     1.0 GiB  -                     ext4         My data  -\n"
            "sdb         1.0 GiB  -                     -            -        -\n");
  EXPECT_EQ(diskTable({readDisks()[3]}, Glyphs::ASCII, 38),
            "Name           Size  Mounted at\n  `-dm-0  512.0 MiB  /media/dm-0\n");
}

// Holds the answers to requests back.
struct HeldSource : LocalSource {
  HeldSource() : LocalSource("") {}
  std::shared_ptr<void> request(const DiskRequest& request, OutcomeTaker taker) override {
    requests.push_back(std::string(request.mounts ? "mount " : "unmount ") + request.device +
                       (request.whole ? " whole" : "") + (request.force ? " force" : ""));
    return LocalSource::request(request,
                                [this, taker](const DiskOutcome& outcome) { answer = [=] { taker(outcome); }; });
  }
  std::vector<std::string> requests;
  std::function<void()> answer;
};

TEST_F(DisksTest, AreMountedAndUnmountedFromThePageInTheBackground) {
  fake.diskService->beforeAnswer = [] { EXPECT_FALSE(IsMainQueue()); };
  HeldSource source;
  DiskPage page(source, Glyphs::ASCII, [] {});
  page.take(readDisks());
  // Presses keys and returns the last line; a blank lets a request finish, and its answer arrive.
  const auto press = [&](std::initializer_list<int> keys) {
    for (const int pressed : keys) {
      if (pressed != ' ') {
        page.press(pressed);
        continue;
      }
      EXPECT_TRUE(pumpUntil([&] { return source.answer != nullptr; }));
      if (source.answer) std::exchange(source.answer, nullptr)();
    }
    return textOf({compose(page, 24, 100).back()});
  };
  EXPECT_EQ(press({'m'}), "Select a disk or partition first.\n");
  EXPECT_EQ(press({key::DOWN, 'm'}), "Mounting /dev/sda...\n");
  EXPECT_EQ(press({key::DOWN, 'u'}), "Mounting /dev/sda...\n") << "one at a time";
  EXPECT_EQ(press({' '}), "Mounted /dev/sda at /media/sda, /dev/dm-0 at /media/dm-0\n");
  EXPECT_EQ(press({'f'}), "Unmount /dev/sda1 even if it is in use? y/n\n");
  EXPECT_EQ(press({'u', 'y'}), "Unmounting /dev/sda1...\n");
  page.close();
  EXPECT_EQ(press({' '}), "Unmounted /dev/sda1\n");
  page.take(readDisks());
  EXPECT_EQ(press({'u'}), "Select a disk or partition first.\n");
  EXPECT_EQ(press({key::END, 'm', ' '}), "There is no device sdb\n");
  EXPECT_EQ(source.requests, (std::vector<std::string>{"mount sda whole", "unmount sda1 force", "mount sdb"}));
  page.take(std::vector<DiskRow>());
  EXPECT_EQ(press({'u'}), "Select a disk or partition first.\n") << "the selected disk has gone";
}

}  // namespace

}  // namespace corvane::inspector
