#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// A device in the system's registry: a disk, a partition, a display, a USB stick, a network card. An IOObject owns one
/// reference to it: a copy takes one more, the destructor gives it back. It must not outlive a ScopedPlatform that it
/// was made in. Any thread; one object is for one thread at a time.
///
///     IOObject::iterateServices("IOMedia", [](const IOObject& medium) { show(medium.properties()); });
///
/// Nothing is cached: every member asks the system again. A device may go away at any moment; then its properties are
/// empty, its class is std::nullopt, and it has neither parent nor children, even if it comes back.
///
/// **Class names on Linux.** A device's own class is its type, else its subsystem, else its driver; some have none. The
/// operations that look for devices understand these names, in this order of precedence:
///
/// | class name | devices |
/// |---|---|
/// | "IOService" | all but some roots of the tree, which have no class |
/// | "IOMedia" | disks and partitions |
/// | "IODisplayConnect" | connectors that a display is connected to and that know its identification data |
/// | "AppleAPFSMedia" and the others of APFS | none: no Linux driver makes devices of containers and volumes |
/// | a common type: "disk", "partition", "usb_device", "scsi_host" | those of this type, or of this subsystem |
/// | a subsystem: "block", "drm", "net", "input", "usb", "power_supply" | its devices |
/// | another type, or a driver: "virtio_blk", "ahci" | those of this type or driver; searches all devices |
///
/// The common types, which are found fast, are these and "usb_interface", "scsi_target", "scsi_device", "drm_connector"
/// and "drm_minor".
///
/// Every other name matches nothing. Devices come in the order of their paths in /sys; parents come before children.
///
/// **Properties on Linux** are those that the kernel and udev report ("SUBSYSTEM", "DEVNAME", "ID_SERIAL", …), which
/// are texts except for these integers: "BUSNUM", "DEVNUM", "DISKSEQ", "ID_PART_ENTRY_NUMBER", "ID_PART_ENTRY_OFFSET",
/// "ID_PART_ENTRY_SIZE", "IFINDEX", "MAJOR", "MINOR", "PARTN". Beside them:
///
/// | property | of | value |
/// |---|---|---|
/// | "DEVPATH" | all | text: the device's folder below /sys |
/// | "IOClass" | all with a class | text: the device's own class |
/// | "BSD Name" | media | text: the kernel's name, "sda1" |
/// | "BSD Unit" | media | integer: the device number of the whole disk, the same for all its partitions |
/// | "BSD Major", "BSD Minor" | media | integers: the two parts of the device number |
/// | "Whole" | media | integer: 1 for a disk, 0 for a partition |
/// | "Size" | media | integer: bytes |
/// | "Writable", "Removable" | media | integers: 1 or 0 |
/// | "Preferred Block Size" | media | integer: bytes |
/// | "Content" | media | text: the type of a partition (see PartitionType), or the kind of a disk's table; or empty |
/// | "Partition ID" | partitions | integer: its number |
/// | "UUID" | partitions | text: of its entry in the table |
/// | "IODisplayEDID" | connectors with a display | data: what the display says about itself (see Edid) |
///
/// The kinds of tables are "GUID_partition_scheme" and "FDisk_partition_scheme".
///
/// "Content" and "UUID", and most names that begin with "ID_", come from udev's database. Where udev does not run, as
/// in many containers, "Content" is empty and the others are absent.
class CORVANE_API IOObject {
 public:
  /// An empty object.
  IOObject() = default;
  /// Takes over one reference that the caller holds to a device of the registry.
  explicit IOObject(std::uint32_t object) : m_obj(object) {}
  IOObject(const IOObject& other);
  IOObject(IOObject&& other) noexcept : m_obj(std::exchange(other.m_obj, 0)) {}
  IOObject& operator=(IOObject other) noexcept {
    std::swap(m_obj, other.m_obj);
    return *this;
  }
  ~IOObject();

  /// Calls `body` with each device of a class. On failure, which is logged, with none.
  template <class Body>
  static void iterateServices(const std::string& className, Body&& body);

  /// Calls `body` with each device of a class and, as long as it returns false, with the device's parent, that one's
  /// parent and so on. A device on the way up of several is visited as often. True ends the way up, never the search.
  template <class Body>
  static void searchServices(const std::string& className, Body&& body);

  /// The handle of the device, which stays the object's; 0 if the object is empty. Two objects with the same handle
  /// stand for the same device.
  std::uint32_t ioObject() const { return m_obj; }
  bool isEmpty() const { return m_obj == 0; }  ///< whether there is no device

  /// Empty on failure.
  Value::Dictionary properties() const;

  /// What the display at a connector says about itself: the integers "DisplayVendorID", "DisplayProductID",
  /// "DisplaySerialNumber" and "DisplayYearManufacture"; and where the display tells them the integers
  /// "DisplayWeekManufacture", "DisplayHorizontalImageSize" and "DisplayVerticalImageSize" (millimetres), the text
  /// "DisplaySerialString" and the dictionary "DisplayProductName", with the name under "en_US". Empty if there is no
  /// display or its data is damaged.
  Value::Dictionary displayInfo() const;

  /// The device's own class. std::nullopt on failure, or if it has none.
  std::optional<std::string> className() const;
  /// The same.
  std::optional<std::string> ioClassName() const { return className(); }

  /// Calls `body` with the device's first child, if it has children. On Linux this lists all that is below the device.
  template <class Body>
  void findChild(Body&& body) const;

  /// Calls `body` with the device's parent, if it has one.
  template <class Body>
  void findParent(Body&& body) const;

 private:
  static std::vector<IOObject> services(const std::string& className);
  IOObject parent() const;
  IOObject firstChild() const;

  std::uint32_t m_obj = 0;
};

template <class Body>
void IOObject::iterateServices(const std::string& className, Body&& body) {
  for (IOObject& service : services(className)) {
    const IOObject object = std::move(service);  // is released after its turn
    body(object);
  }
}

template <class Body>
void IOObject::searchServices(const std::string& className, Body&& body) {
  iterateServices(className, [&body](IOObject object) {
    while (!object.isEmpty() && !body(std::as_const(object))) object = object.parent();
  });
}

template <class Body>
void IOObject::findChild(Body&& body) const {
  if (const IOObject child = firstChild(); !child.isEmpty()) body(child);
}

template <class Body>
void IOObject::findParent(Body&& body) const {
  if (const IOObject above = parent(); !above.isEmpty()) body(above);
}

}  // namespace corvane
