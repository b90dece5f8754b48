#include "apps/inspector/live/DiskPage.h"

#include <gtest/gtest.h>

#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/terminal/Keys.h"
#include "apps/inspector/text/DiskReport.h"
#include "corvane/core/MainQueue.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/inspector/FrameText.h"
#include "tests/support/Pump.h"
#include "tests/support/TempHome.h"

namespace corvane::inspector {

namespace {

TEST(DiskPage, MountsAndUnmountsInTheBackground) {
  const TempHome home;
  const FakePlatform fake;
  const auto medium = [](const char* name, int whole, std::int64_t size, Value::Dictionary more = {}) {
    more.insert({{"BSD Name", name}, {"BSD Unit", name[2]}, {"Whole", whole}, {"Size", size}});
    return FakeDeviceRegistry::Device{.className = "IOMedia", .properties = std::move(more)};
  };
  fake.deviceRegistry->devices = {
      medium("dm-0", 1, 1 << 29),
      medium("sda", 1, 1 << 30, {{"Content", "GUID_partition_scheme"}}),
      medium("sda10", 0, 1 << 20, {{"ID_FS_TYPE", "ext4"}, {"ID_FS_LABEL_ENC", "My\\x20data"}}),
      medium("sda2", 0, 1 << 20, {{"Content", "0FC63DAF-8483-4772-8E79-3D69D8477DE4"}}),
      medium("sdb", 1, 0),
      medium("ram", 1, 1 << 20, {{"BSD Major", 1}})};
  fake.diskService->madeOf = {{"dm-0", {"sda2"}}};
  fake.diskService->devices = {"dm-0", "sda"};
  LocalSource source("");
  bool changed = false;
  DiskPage page(source.machine(), Glyphs::ASCII, [&changed] { changed = true; });
  // Presses keys and returns the last line. A blank lets a request finish.
  const auto press = [&](std::initializer_list<int> keys) {
    for (const int pressed : keys)
      if (pressed == ' ')
        EXPECT_TRUE(pumpUntil([&] { return std::exchange(changed, false); }));
      else
        page.press(pressed);
    return textOf({compose(page, 24, 100).back()});
  };
  fake.diskService->beforeAnswer = [] { EXPECT_FALSE(IsMainQueue()); };
  page.take(readDisks());
  EXPECT_EQ(press({'m'}), "Select a disk or partition first.\n");
  EXPECT_EQ(press({key::DOWN, 'm'}), "Mounting /dev/sda...\n");
  EXPECT_EQ(press({key::DOWN, key::DOWN, 'm', ' '}), "Mounted /dev/sda at /media/sda\n") << "one at a time";
  EXPECT_EQ(press({'m', ' '}), "Mounted /dev/dm-0 at /media/dm-0\n");
  EXPECT_EQ(diskTable(readDisks(), Glyphs::ASCII, 90),
            "Name           Size  Type                  File system  Label    Mounted at\n"
            "sda         1.0 GiB  GUID Partition Table  -            -        /media/sda\n"
            "|-sda2      1.0 MiB  Linux Filesystem      -            -        -\n"
            "| `-dm-0  512.0 MiB  -                     -            -        /media/dm-0\n"
            "`-sda10     1.0 MiB  -                     ext4         My data  -\n");
  EXPECT_EQ(diskTable({readDisks()[0]}, Glyphs::ASCII, 29), "Name     Size  Mounted at\nsda   1.0 GiB  /media/sda\n");
  EXPECT_EQ(press({'f'}), "Unmount /dev/dm-0 even if it is in use? y/n\n");
  EXPECT_EQ(press({'u', 'y'}), "Unmounting /dev/dm-0...\n");
  page.close();
  EXPECT_EQ(press({' '}), "Unmounted /dev/dm-0\n");
  page.take(readDisks());
  EXPECT_EQ(press({'u'}), "Select a disk or partition first.\n");
  EXPECT_EQ(press({key::END, 'm', ' '}), "There is no device sda10\n");
  page.take(std::vector<DiskRow>());
  EXPECT_EQ(press({'u'}), "Select a disk or partition first.\n") << "the selected one has gone";
  EXPECT_EQ(fake.diskService->calls(), (std::vector<FakeDiskService::Call>{
                                           {"mount", "sda", 1}, {"mount", "dm-0", 0}, {"unmount", "dm-0", 0x80000}}));
}

}  // namespace

}  // namespace corvane::inspector
