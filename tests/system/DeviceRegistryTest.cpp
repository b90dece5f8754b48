// Devices of the system. Each suite needs what CTest runs it with: umockdev-run with desktop.umockdev, a private system
// as root, or just this machine.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <atomic>
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

std::string nameIn(const Value::Dictionary& properties) {
  const auto path = properties.find("DEVPATH");
  return path == properties.end() ? "gone" : fs::path(*path->second.asString()).filename().string();
}

Names namesOf(const std::string& className) {
  Names names;
  IOObject::iterateServices(className, [&](const IOObject& device) { names.push_back(nameIn(device.properties())); });
  return names;
}

// The medium with this name; empty if there is none.
IOObject medium(const std::string& name) {
  IOObject found;
  IOObject::iterateServices("IOMedia", [&](const IOObject& device) {
    if (nameIn(device.properties()) == name) found = device;
  });
  return found;
}

// The properties, in short: strings and numbers as they are, data as its size.
std::map<std::string, std::string> chosen(const Value::Dictionary& all, const Names& keys) {
  std::map<std::string, std::string> texts;
  for (const auto& [key, value] : all)
    if (std::ranges::find(keys, key) != keys.end())
      texts[key] = value.isInteger()  ? "#" + std::to_string(*value.asInteger())
                   : value.isString() ? *value.asString()
                   : value.isData()   ? std::to_string(value.asData()->bytes.size()) + " bytes"
                                      : *value.find("en_US")->asString();
  return texts;
}

TEST(DescribedDesktop, MatchesClassNames) {
  const Names media = {"sdb", "sdb1", "sdb2", "sdb3", "nvme0n1", "nvme0n1p1", "nvme0n1p2", "nvme0n1p3"};
  const std::pair<std::string, Names> rows[] = {
      {"IOMedia", media},
      {"block", media},
      {"disk", {"sdb", "nvme0n1"}},
      {"IODisplayConnect", {"card0-DP-1", "card0-HDMI-A-1", "card0-eDP-1"}},
      {"drm_minor", {"card0"}},
      {"usb_device", {"usb1", "1-2"}},
      {"scsi_host", {"host6"}},
      {"nvme", {"nvme0"}},             // a subsystem, and a driver in another one
      {"xhci_hcd", {"0000:00:14.0"}},  // a driver
      {"AppleAPFSMedia", {}},
      {"nosuch", {}},
      {"", {}},
      {"../class/block", {}},
      {"b*", {}},
      {{"block\0x", 7}, {}},
  };
  for (const auto& [className, names] : rows) EXPECT_EQ(namesOf(className), names) << className;
  EXPECT_EQ(namesOf("IOService").size(), 23U);
}

TEST(DescribedDesktop, HasDocumentedProperties) {
  const Names keys = {"BSD Name",     "BSD Unit",  "BSD Minor",       "Whole", "Size",
                      "Writable",     "Removable", "Content",         "UUID",  "Preferred Block Size",
                      "Partition ID", "IOClass",   "ID_SERIAL_SHORT", "MAJOR"};
  using Map = std::map<std::string, std::string>;
  EXPECT_EQ(chosen(medium("nvme0n1").properties(), keys), (Map{{"BSD Name", "nvme0n1"},
                                                               {"BSD Unit", "#66304"},
                                                               {"BSD Minor", "#0"},
                                                               {"Whole", "#1"},
                                                               {"Size", "#512110190592"},
                                                               {"Writable", "#1"},
                                                               {"Removable", "#0"},
                                                               {"Preferred Block Size", "#4096"},
                                                               {"Content", "GUID_partition_scheme"},
                                                               {"IOClass", "disk"},
                                                               {"ID_SERIAL_SHORT", "001234"},
                                                               {"MAJOR", "#259"}}));
  EXPECT_EQ(chosen(medium("sdb3").properties(), keys), (Map{{"BSD Name", "sdb3"},
                                                            {"BSD Unit", "#2064"},
                                                            {"BSD Minor", "#19"},
                                                            {"Whole", "#0"},
                                                            {"Size", "#4194304"},
                                                            {"Writable", "#1"},
                                                            {"Removable", "#1"},
                                                            {"Preferred Block Size", "#512"},
                                                            {"Content", "0x8e"},
                                                            {"UUID", "5a9c-03"},
                                                            {"Partition ID", "#3"},
                                                            {"IOClass", "partition"},
                                                            {"MAJOR", "#8"}}));
  Names contents;
  IOObject::iterateServices(
      "IOMedia", [&](const IOObject& each) { contents.push_back(*each.properties().at("Content").asString()); });
  EXPECT_THAT(contents, ElementsAre("FDisk_partition_scheme", "0FC63DAF-8483-4772-8E79-3D69D8477DE4", "Windows_NTFS",
                                    "0x8e", "GUID_partition_scheme", "C12A7328-F81F-11D2-BA4B-00A0C93EC93B",
                                    "7C3457EF-0000-11AA-AA11-00306543ECAC", "4F68BCE3-E8CD-4DB1-96E7-FBCAF984B709"));

  std::vector<Map> displays;
  IOObject::iterateServices("IODisplayConnect", [&](const IOObject& each) {
    displays.push_back(
        chosen(each.displayInfo(), {"DisplayVendorID", "DisplayProductID", "DisplaySerialNumber", "DisplayProductName",
                                    "DisplaySerialString", "DisplayYearManufacture", "DisplayWeekManufacture",
                                    "DisplayHorizontalImageSize", "DisplayVerticalImageSize"}));
    EXPECT_THAT(chosen(each.properties(), {"IODisplayEDID"}), ElementsAre(testing::Pair("IODisplayEDID", "128 bytes")));
  });
  EXPECT_THAT(displays, ElementsAre(Map{},
                                    Map{{"DisplayVendorID", "#3790"},
                                        {"DisplayProductID", "#41156"},
                                        {"DisplaySerialNumber", "#2622183985"},
                                        {"DisplayProductName", "Corvane 24"},
                                        {"DisplaySerialString", "CV7ABC123"},
                                        {"DisplayYearManufacture", "#2021"},
                                        {"DisplayWeekManufacture", "#7"},
                                        {"DisplayHorizontalImageSize", "#597"},
                                        {"DisplayVerticalImageSize", "#336"}},
                                    Map{{"DisplayVendorID", "#16844"},
                                        {"DisplayProductID", "#17185"},
                                        {"DisplaySerialNumber", "#0"},
                                        {"DisplayYearManufacture", "#2021"},
                                        {"DisplayWeekManufacture", "#7"},
                                        {"DisplayHorizontalImageSize", "#597"},
                                        {"DisplayVerticalImageSize", "#336"}}));
}

TEST(DescribedDesktop, WalksTheTreeAndCountsReferences) {
  Names way;
  std::set<std::uint32_t> handles;
  IOObject::searchServices("sd", [&](const IOObject& device) {  // a driver
    way.push_back(nameIn(device.properties()) + " " + device.className().value_or("-"));
    handles.insert(device.ioObject());
    return false;
  });
  EXPECT_THAT(way, ElementsAre("6:0:0:0 scsi_device", "target6:0:0 scsi_target", "host6 scsi_host",
                               "1-2:1.0 usb_interface", "1-2 usb_device", "usb1 usb_device", "0000:00:14.0 pci"));
  DeviceRegistry& registry = platform().deviceRegistry();
  for (const std::uint32_t handle : handles) EXPECT_FALSE(registry.className(handle)) << "still held";

  const IOObject disk = medium("sdb");
  const IOObject copy = disk;
  EXPECT_EQ(medium("sdb").ioObject(), disk.ioObject()) << "the same device";
  EXPECT_FALSE(handles.contains(disk.ioObject()));
  disk.findChild([&](const IOObject& child) {
    EXPECT_EQ(nameIn(child.properties()), "sdb1");
    child.findChild([](const IOObject&) { ADD_FAILURE() << "below a partition"; });
    child.findParent([&](const IOObject& parent) { EXPECT_EQ(parent.ioObject(), disk.ioObject()); });
  });
}

TEST(DescribedDesktop, LosesDevicesAtAnyMoment) {
  const fs::path root = getenv("UMOCKDEV_DIR");
  const fs::path folder =
      root / "sys/devices/pci0000:00/0000:00:14.0/usb1/1-2/1-2:1.0/host6/target6:0:0/6:0:0:0/block/sdb";
  const auto unplug = [&] { fs::rename(folder, root / "away"); };
  const auto plug = [&] {  // in a new folder, so it is another device
    fs::copy(root / "away", root / "new", fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    fs::rename(root / "new", folder);
    fs::remove_all(root / "away");
  };
  const IOObject disk = medium("sdb1");
  const Value::Dictionary before = disk.properties();
  for (const bool back : {false, true}) {
    back ? plug() : unplug();
    EXPECT_TRUE(disk.properties().empty()) << back;
    EXPECT_EQ(disk.className(), std::nullopt) << back;
    disk.findParent([](const IOObject&) { ADD_FAILURE() << "above what is gone"; });
    EXPECT_EQ(medium("sdb1").isEmpty(), !back);
  }
  EXPECT_NE(medium("sdb1").ioObject(), disk.ioObject());
  EXPECT_EQ(medium("sdb1").properties(), before);

  std::atomic<bool> stop = false;
  std::array<std::thread, 2> readers;
  for (std::thread& reader : readers)
    reader = std::thread([&] {
      while (!stop)
        IOObject::searchServices("IOMedia", [&](const IOObject& device) {
          const Value::Dictionary all = device.properties();
          EXPECT_TRUE(nameIn(all) != "sdb1" || all == before) << "some of the properties";
          device.findChild([](const IOObject&) {});
          return false;
        });
    });
  for (int i = 0; i < 20; ++i) unplug(), plug();
  stop = true;
  for (std::thread& reader : readers) reader.join();
}

std::string output(const std::string& command) {
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  for (int c; (c = std::getc(pipe)) != EOF;) text += c == '\n' ? "" : std::string(1, static_cast<char>(c));
  EXPECT_EQ(pclose(pipe), 0) << command;
  return text;
}

TEST(RealDisk, HasContentsButNoContainers) {
  const std::string disk = output(CORVANE_LOOPDISK " make gpt");
  const auto contents = [&disk] {
    Names all;
    IOObject::iterateServices("IOMedia", [&](const IOObject& device) {
      const Value::Dictionary properties = device.properties();
      if (nameIn(properties).starts_with(disk))
        all.push_back(PartitionType().typeName(*properties.at("Content").asString()));
    });
    return all;
  };
  EXPECT_THAT(contents(), ElementsAre("GUID Partition Table", "EFI", "Linux Filesystem", "Apple_APFS", "Apple_HFS",
                                      "Microsoft Basic Data", "Linux Swap"));
  const IOObject store = medium(disk + "p3");
  const Value::Dictionary properties = store.properties();
  EXPECT_EQ(*properties.at("Size").asInteger(), 32 << 20);
  EXPECT_EQ(PartitionType().apfsContainers(disk + "p3"), Names());
  EXPECT_EQ(PartitionType().apfsContainers(*properties.at("BSD Unit").asInteger()), Names());

  std::thread changes([&disk] {
    // udevd has it open now and then.
    const std::string again = "until partx --delete --nr 3 /dev/" + disk + " 2>/dev/null; do sleep 0.05; done";
    for (int i = 0; i < 5; ++i) output(again + "; partx --add --nr 3 /dev/" + disk);
  });
  for (int i = 0; i < 50; ++i) EXPECT_GE(namesOf("IOMedia").size(), 6U);
  changes.join();
  EXPECT_TRUE(store.properties().empty()) << "another device, if at the same place";

  output("udevadm settle");
  fs::rename("/run/udev", "/run/away");
  EXPECT_EQ(contents(), Names(7, "Unknown")) << "without udev's database";
  fs::rename("/run/away", "/run/udev");
  output(CORVANE_LOOPDISK " drop " + disk);
  EXPECT_TRUE(medium(disk + "p1").isEmpty());
}

TEST(Machine, ListsParentsBeforeChildrenAndEveryDeviceByItsOwnClass) {
  std::vector<IOObject> devices;
  std::set<std::uint32_t> seen;
  IOObject::iterateServices("IOService", [&](const IOObject& device) {
    device.findParent([&](const IOObject& parent) {
      // Roots such as pci0000:00 have no class, and are not listed.
      EXPECT_TRUE(seen.contains(parent.ioObject()) || !parent.className()) << nameIn(device.properties());
    });
    EXPECT_TRUE(seen.insert(device.ioObject()).second) << "twice";
    devices.push_back(device);
  });
  ASSERT_GT(devices.size(), 10U);
  std::map<std::string, std::set<std::uint32_t>> classes;
  for (const IOObject& device : devices) {
    const std::string name = device.className().value_or("");
    if (!classes.contains(name))
      IOObject::iterateServices(name, [&](const IOObject& same) { classes[name].insert(same.ioObject()); });
    EXPECT_TRUE(classes[name].contains(device.ioObject())) << nameIn(device.properties()) << " of class " << name;
  }
}

}  // namespace
}  // namespace corvane
