#include "corvane/platform/DeviceRegistry.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "corvane/core/Files.h"
#include "corvane/linux/devices/DeviceProperties.h"
#include "corvane/linux/devices/HandleTable.h"

namespace corvane {

namespace {

constexpr char DEVICES[] = "/sys/devices";

constexpr std::string_view ALL = "IOService";
constexpr std::string_view MEDIA = "IOMedia";
constexpr std::string_view DISPLAYS = "IODisplayConnect";
constexpr std::array<std::string_view, 4> WITHOUT_COUNTERPART = {"AppleAPFSContainer", "AppleAPFSContainerScheme",
                                                                 "AppleAPFSMedia", "AppleAPFSVolume"};

// Device types and the subsystem that they are in: a scan of one subsystem takes a fraction of that of all devices.
constexpr std::array<std::pair<std::string_view, const char*>, 9> TYPES = {{
    {"disk", "block"},
    {"partition", "block"},
    {"usb_device", "usb"},
    {"usb_interface", "usb"},
    {"scsi_host", "scsi"},
    {"scsi_target", "scsi"},
    {"scsi_device", "scsi"},
    {"drm_connector", "drm"},
    {"drm_minor", "drm"},
}};

// The kernel gives no such names, and a path would end at the NUL.
bool isImpossible(std::string_view name) {
  return name.empty() || name.find_first_of(std::string_view("/\0", 2)) != name.npos;
}

bool isSubsystem(const std::string& name) {
  return ::access(("/sys/class/" + name).c_str(), F_OK) == 0 || ::access(("/sys/bus/" + name).c_str(), F_OK) == 0;
}

bool equals(const char* text, std::string_view name) {
  return text && text == name;
}

// Which devices have a class name: those of the subsystems, or all if there are none, for which `accepts` is true.
struct Query {
  std::vector<std::string> subsystems;
  bool (*accepts)(udev_device* device, const std::string& name) = nullptr;  // nullptr: every device
};

Query queryFor(const std::string& name) {
  if (name == ALL) return {};
  if (name == MEDIA) return {{"block"}};
  if (name == DISPLAYS)
    return {{"drm"}, [](udev_device* device, const std::string&) { return !displayIdentification(device).empty(); }};
  const auto type = std::find_if(TYPES.begin(), TYPES.end(), [&name](const auto& row) { return row.first == name; });
  const bool subsystem = isSubsystem(name);
  if (type == TYPES.end() && subsystem) return {{name}};
  Query query{{}, [](udev_device* device, const std::string& wanted) {
                return equals(udev_device_get_devtype(device), wanted) ||
                       equals(udev_device_get_subsystem(device), wanted) ||
                       equals(udev_device_get_driver(device), wanted);
              }};
  if (type != TYPES.end()) query.subsystems.emplace_back(type->second);
  if (subsystem) query.subsystems.push_back(name);
  return query;
}

std::optional<DeviceIdentity> identityOf(const char* path) {
  struct stat status {};
  if (!path || ::stat(path, &status) != 0) return std::nullopt;
  return DeviceIdentity{path, status.st_ino};
}

class LinuxDeviceRegistry : public DeviceRegistry {
 public:
  Result<std::vector<Handle>> matching(const std::string& className) override;
  Handle parent(Handle device) override;
  Handle firstChild(Handle device) override;
  Result<std::string> className(Handle device) override;
  Result<Value::Dictionary> properties(Handle device) override;
  void retain(Handle device) override { m_handles.retain(device); }
  void release(Handle device) override { m_handles.release(device); }

 private:
  // What `read` makes of a device; ENODEV if that may come from another device, because this one went away.
  template <class Read>
  auto reading(Handle handle, Read read) -> Result<decltype(read(nullptr, nullptr))>;
  Handle take(const char* path);

  HandleTable m_handles;
};

template <class Read>
auto LinuxDeviceRegistry::reading(Handle handle, Read read) -> Result<decltype(read(nullptr, nullptr))> {
  const auto identity = m_handles.find(handle);
  if (!identity) return failure("posix", ENODEV, "No device " + std::to_string(handle));
  const Udev<udev> context(udev_new());
  const Udev<udev_device> device(udev_device_new_from_syspath(context.get(), identity->path.c_str()));
  if (!device) return fileFailure(identity->path, ENODEV);
  auto result = read(context.get(), device.get());
  if (identityOf(identity->path.c_str()) != identity) return fileFailure(identity->path, ENODEV);
  return result;
}

DeviceRegistry::Handle LinuxDeviceRegistry::take(const char* path) {
  auto identity = identityOf(path);
  return identity ? m_handles.take(*std::move(identity)) : 0;
}

Result<std::vector<DeviceRegistry::Handle>> LinuxDeviceRegistry::matching(const std::string& className) {
  std::vector<Handle> found;
  const auto& missing = WITHOUT_COUNTERPART;
  if (isImpossible(className) || std::find(missing.begin(), missing.end(), className) != missing.end()) return found;
  if (::access(DEVICES, F_OK) != 0) return fileFailure(DEVICES, errno);
  const Udev<udev> context(udev_new());
  const Udev<udev_enumerate> list(udev_enumerate_new(context.get()));
  if (!list) return systemFailure(ENOMEM);
  const Query query = queryFor(className);
  for (const std::string& subsystem : query.subsystems)
    udev_enumerate_add_match_subsystem(list.get(), subsystem.c_str());
  if (const int code = udev_enumerate_scan_devices(list.get()); code < 0) return systemFailure(-code);
  for (auto* entry = udev_enumerate_get_list_entry(list.get()); entry; entry = udev_list_entry_get_next(entry)) {
    const char* const path = udev_list_entry_get_name(entry);
    if (query.accepts) {
      const Udev<udev_device> device(udev_device_new_from_syspath(context.get(), path));
      if (!device || !query.accepts(device.get(), className)) continue;
    }
    if (const Handle handle = take(path); handle != 0) found.push_back(handle);
  }
  return found;
}

DeviceRegistry::Handle LinuxDeviceRegistry::parent(Handle device) {
  // The parent belongs to its child.
  const auto path = reading(device, [](udev*, udev_device* child) {
    udev_device* const parent = udev_device_get_parent(child);
    return parent ? std::string(udev_device_get_syspath(parent)) : std::string();
  });
  return path && !path->empty() ? take(path->c_str()) : 0;
}

DeviceRegistry::Handle LinuxDeviceRegistry::firstChild(Handle device) {
  const auto path = reading(device, [](udev* context, udev_device* parent) {
    const std::string_view above = udev_device_get_syspath(parent);
    const Udev<udev_enumerate> list(udev_enumerate_new(context));
    udev_enumerate_add_match_parent(list.get(), parent);  // with everything below it
    udev_enumerate_scan_devices(list.get());
    for (auto* entry = udev_enumerate_get_list_entry(list.get()); entry; entry = udev_list_entry_get_next(entry)) {
      const Udev<udev_device> child(udev_device_new_from_syspath(context, udev_list_entry_get_name(entry)));
      udev_device* const its = child ? udev_device_get_parent(child.get()) : nullptr;
      if (its && udev_device_get_syspath(its) == above) return std::string(udev_device_get_syspath(child.get()));
    }
    return std::string();
  });
  return path && !path->empty() ? take(path->c_str()) : 0;
}

Result<std::string> LinuxDeviceRegistry::className(Handle device) {
  auto name = reading(device, [](udev*, udev_device* read) { return deviceClass(read); });
  if (name && name->empty()) return failure("posix", ENODATA, "The device has no class");
  return name;
}

Result<Value::Dictionary> LinuxDeviceRegistry::properties(Handle device) {
  return reading(device, [](udev*, udev_device* read) { return deviceProperties(read); });
}

}  // namespace

template <>
std::shared_ptr<DeviceRegistry> makeService<DeviceRegistry>() {
  return std::make_shared<LinuxDeviceRegistry>();
}

}  // namespace corvane
