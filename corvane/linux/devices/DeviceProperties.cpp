#include "corvane/linux/devices/DeviceProperties.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <optional>
#include <string_view>
#include <utility>

#include "corvane/core/Text.h"

namespace corvane {

namespace {

constexpr std::int64_t KERNEL_SECTOR = 512;                         // whatever the medium's own sectors are
constexpr std::size_t MAX_IDENTIFICATION = std::size_t{256} * 128;  // as many blocks as EDID can count

// The kernel and udev report texts, and many that look like numbers are none ("001234", a serial number). These are.
constexpr std::array<std::string_view, 10> NUMBERS = {
    "BUSNUM", "DEVNUM", "DISKSEQ", "ID_PART_ENTRY_NUMBER", "ID_PART_ENTRY_OFFSET", "ID_PART_ENTRY_SIZE", "IFINDEX",
    "MAJOR",  "MINOR",  "PARTN"};

// Types of MBR tables with a documented name, or with a GUID that means the same.
constexpr std::array<std::pair<std::string_view, const char*>, 6> MBR_CONTENTS = {{
    {"0x7", "Windows_NTFS"},
    {"0x27", "DE94BBA4-06D1-4D40-A16A-BFD50179D6AC"},
    {"0x82", "0657FD6D-A4AB-43C4-84E5-0933C84B4F4F"},
    {"0x83", "0FC63DAF-8483-4772-8E79-3D69D8477DE4"},
    {"0xaf", "48465300-0000-11AA-AA11-00306543ECAC"},
    {"0xef", "C12A7328-F81F-11D2-BA4B-00A0C93EC93B"},
}};

std::string text(const char* value) {
  return value ? repaired(value) : std::string();
}

std::string property(udev_device* device, const char* key) {
  return text(udev_device_get_property_value(device, key));
}

std::optional<std::int64_t> attribute(udev_device* device, const char* name) {
  const char* const value = udev_device_get_sysattr_value(device, name);
  return value ? numberIn<std::int64_t>(value) : std::nullopt;
}

std::string tableContent(udev_device* disk) {
  const std::string scheme = property(disk, "ID_PART_TABLE_TYPE");
  if (scheme == "gpt") return "GUID_partition_scheme";
  return scheme == "dos" ? "FDisk_partition_scheme" : "";
}

std::string partitionContent(udev_device* partition) {
  std::string type = property(partition, "ID_PART_ENTRY_TYPE");
  if (property(partition, "ID_PART_ENTRY_SCHEME") == "gpt") return upperCasedAscii(std::move(type));
  const auto known =
      std::find_if(MBR_CONTENTS.begin(), MBR_CONTENTS.end(), [&type](const auto& row) { return row.first == type; });
  return known == MBR_CONTENTS.end() ? type : known->second;
}

void addMedium(Value::Dictionary& all, udev_device* medium) {
  const auto set = [&all](const char* key, std::optional<std::int64_t> number) {
    if (number) all.insert_or_assign(key, *number);
  };
  const bool whole = text(udev_device_get_devtype(medium)) == "disk";
  const dev_t number = udev_device_get_devnum(medium);
  all["BSD Name"] = text(udev_device_get_sysname(medium));
  set("BSD Major", major(number));
  set("BSD Minor", minor(number));
  set("Whole", whole ? 1 : 0);
  if (const auto sectors = attribute(medium, "size")) set("Size", *sectors * KERNEL_SECTOR);
  if (const auto readOnly = attribute(medium, "ro")) set("Writable", *readOnly == 0 ? 1 : 0);
  all["Content"] = whole ? tableContent(medium) : partitionContent(medium);
  if (!whole) {
    set("Partition ID", attribute(medium, "partition"));
    if (std::string uuid = property(medium, "ID_PART_ENTRY_UUID"); !uuid.empty()) all["UUID"] = std::move(uuid);
  }
  // libudev keeps the parent with the device.
  udev_device* const disk = whole ? medium : udev_device_get_parent_with_subsystem_devtype(medium, "block", "disk");
  if (!disk) return;
  set("BSD Unit", static_cast<std::int64_t>(udev_device_get_devnum(disk)));
  set("Removable", attribute(disk, "removable"));
  set("Preferred Block Size", attribute(disk, "queue/logical_block_size"));
}

}  // namespace

std::string deviceClass(udev_device* device) {
  for (const auto read : {udev_device_get_devtype, udev_device_get_subsystem, udev_device_get_driver})
    if (const char* const name = read(device)) return name;
  return {};
}

Value::Dictionary deviceProperties(udev_device* device) {
  Value::Dictionary all;
  for (auto* entry = udev_device_get_properties_list_entry(device); entry; entry = udev_list_entry_get_next(entry)) {
    std::string key = text(udev_list_entry_get_name(entry));
    std::string value = text(udev_list_entry_get_value(entry));
    const auto number =
        std::binary_search(NUMBERS.begin(), NUMBERS.end(), key) ? numberIn<std::int64_t>(value) : std::nullopt;
    all.insert_or_assign(std::move(key), number ? Value(*number) : Value(std::move(value)));
  }
  // Roots such as pci0000:00 report nothing.
  if (const char* const path = udev_device_get_devpath(device)) all.try_emplace("DEVPATH", text(path));
  if (std::string name = deviceClass(device); !name.empty()) all["IOClass"] = std::move(name);
  if (text(udev_device_get_subsystem(device)) == "block") addMedium(all, device);
  if (auto bytes = displayIdentification(device); !bytes.empty()) all["IODisplayEDID"] = Data{std::move(bytes)};
  return all;
}

std::vector<std::uint8_t> displayIdentification(udev_device* device) {
  if (text(udev_device_get_subsystem(device)) != "drm") return {};
  // libudev's own reader of attributes stops at the first NUL.
  std::ifstream file(text(udev_device_get_syspath(device)) + "/edid", std::ios::binary);
  std::vector<std::uint8_t> bytes(MAX_IDENTIFICATION);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

}  // namespace corvane
