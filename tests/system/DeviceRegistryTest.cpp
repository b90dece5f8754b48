// Devices of the system. Each suite needs what CTest runs it with: umockdev-run with desktop.umockdev, a private system
// as root, or just this machine.

#include <gmock/gmock.h>
#include <stdlib.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <set>
#include <thread>

#include "corvane/platform/Platform.h"
#include "corvane/system/IOObject.h"
#include "corvane/system/PartitionType.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using Names = std::vector<std::string>;

std::string nameOf(const IOObject& device) {
  const Value all = device.properties();
  const Value* const path = all.find("DEVPATH");
  return path ? fs::path(*path->asString()).filename().string() : "gone";
}

// The medium with this name; empty if there is none.
IOObject medium(const std::string& name) {
  IOObject found;
  IOObject::iterateServices("IOMedia", [&](const IOObject& device) {
    if (nameOf(device) == name) found = device;
  });
  return found;
}

TEST(DescribedDesktop, WalksTheTreeAndCountsReferences) {
  Names way;
  std::set<std::uint32_t> handles;
  IOObject::searchServices("sd", [&](const IOObject& device) {  // a driver
    way.push_back(nameOf(device));
    handles.insert(device.ioObject());
    return false;
  });
  EXPECT_THAT(way, ElementsAre("6:0:0:0", "target6:0:0", "host6", "1-2:1.0", "1-2", "usb1", "0000:00:14.0"));
  for (const std::uint32_t handle : handles) EXPECT_FALSE(platform().deviceRegistry().className(handle)) << "held";

  IOObject::iterateServices({"block\0x", 7}, [](const IOObject&) { ADD_FAILURE() << "up to the NUL"; });
  const IOObject disk = medium("sdb");
  EXPECT_EQ(IOObject(disk).ioObject(), disk.ioObject());
  EXPECT_EQ(medium("sdb").ioObject(), disk.ioObject()) << "the same device";
  EXPECT_FALSE(handles.contains(disk.ioObject()));
  disk.findChild([&](const IOObject& child) {
    EXPECT_EQ(nameOf(child), "sdb1");
    child.findChild([](const IOObject&) { ADD_FAILURE() << "below a partition"; });
  });
}

TEST(DescribedDesktop, LosesDevicesAtAnyMoment) {
  const fs::path root = getenv("UMOCKDEV_DIR");
  const fs::path usb = root / "sys/devices/pci0000:00/0000:00:14.0/usb1";
  const auto unplug = [&] { fs::rename(usb, root / "away"); };
  int plugged = 0;
  const auto plug = [&] {  // as another device: its folder has an inode that none had before
    fs::copy(root / "away", root / "new", fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    fs::rename(root / "new", usb);
    fs::rename(root / "away", root / ("old" + std::to_string(++plugged)));
  };
  const IOObject disk = medium("sdb1");
  const Value before = disk.properties();
  for (const bool back : {false, true}) {
    back ? plug() : unplug();
    EXPECT_TRUE(disk.properties().empty() && !disk.className()) << back;
    disk.findParent([](const IOObject&) { ADD_FAILURE() << "above what is gone"; });
    EXPECT_EQ(medium("sdb1").isEmpty(), !back);
  }
  EXPECT_NE(medium("sdb1").ioObject(), disk.ioObject());

  std::atomic<bool> stop = false;
  std::thread readers[2];
  for (std::thread& reader : readers)
    reader = std::thread([&] {
      while (!stop)
        IOObject::searchServices("IOMedia", [&](const IOObject& device) {
          const Value all = device.properties();
          const Value* const name = all.find("BSD Name");
          EXPECT_TRUE(!name || *name != "sdb1" || all == before) << "some of the properties";
          device.findChild([](const IOObject&) {});
          return false;
        });
    });
  for (int i = 0; i < 20; ++i) unplug(), plug();
  stop = true;
  for (std::thread& reader : readers) reader.join();
}

std::string output(const std::string& command) {
  FILE* const pipe = popen(command.c_str(), "r");
  char line[100] = "";
  EXPECT_TRUE(std::fgets(line, sizeof line, pipe) || std::feof(pipe));
  EXPECT_EQ(pclose(pipe), 0) << command;
  return std::string(line, std::strcspn(line, "\n"));
}

TEST(RealDisk, HasContentsButNoContainers) {
  const std::string disk = output(CORVANE_LOOPDISK " make gpt");
  const auto types = [&disk] {
    Names all;
    IOObject::iterateServices("IOMedia", [&](const IOObject& device) {
      if (nameOf(device).starts_with(disk))
        all.push_back(PartitionType().typeName(*device.properties().at("Content").asString()));
    });
    return all;
  };
  EXPECT_THAT(types(), ElementsAre("GUID Partition Table", "EFI", "Linux Filesystem", "Apple_APFS", "Apple_HFS",
                                   "Microsoft Basic Data", "Linux Swap"));
  const IOObject store = medium(disk + "p3");
  EXPECT_EQ(PartitionType().apfsContainers(disk + "p3"), Names());
  EXPECT_EQ(PartitionType().apfsContainers(*store.properties().at("BSD Unit").asInteger()), Names());

  std::thread changes([p3 = " --nr 3 /dev/" + disk] {
    for (int i = 0; i < 5; ++i)  // udevd has it open now and then
      output("until partx --delete" + p3 + " 2>/dev/null; do sleep 0.05; done; partx --add" + p3);
  });
  for (int i = 0; i < 50; ++i) EXPECT_FALSE(medium(disk + "p6").isEmpty());
  changes.join();
  EXPECT_TRUE(store.properties().empty()) << "another device, if at the same place";

  output("udevadm settle");
  fs::rename("/run/udev", "/run/away");
  EXPECT_EQ(types(), Names(7, "Unknown")) << "without udev's database";
  fs::rename("/run/away", "/run/udev");
}

TEST(Machine, ListsParentsBeforeChildrenAndEveryDeviceByItsOwnClass) {
  std::vector<IOObject> devices;
  std::set<std::uint32_t> seen;
  std::map<std::string, std::set<std::uint32_t>> classes;
  IOObject::iterateServices("IOService", [&](const IOObject& device) {
    devices.push_back(device);
    device.findParent([&](const IOObject& parent) {
      // Roots such as pci0000:00 have no class, and are not listed.
      EXPECT_TRUE(seen.contains(parent.ioObject()) || !parent.className()) << nameOf(device);
      EXPECT_TRUE(parent.properties().contains("DEVPATH") || !device.className()) << nameOf(device);
    });
    EXPECT_TRUE(seen.insert(device.ioObject()).second) << "twice";
    const std::string name = device.className().value_or("");
    if (classes.contains(name)) return;
    IOObject::iterateServices(name, [&](const IOObject& same) {
      devices.push_back(same);
      classes[name].insert(same.ioObject());
    });
  });
  EXPECT_GT(seen.size(), 10U);
  for (const IOObject& device : devices) {
    const auto name = device.className();  // none if the device went away meanwhile
    EXPECT_TRUE(!name || classes[*name].contains(device.ioObject())) << nameOf(device);
  }
}

}  // namespace
}  // namespace corvane
