#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace corvane::inspector {

/// A disk, a partition, or what other devices make up: an unlocked encrypted volume, a logical volume, an array. Texts
/// are unchecked bytes; unknown ones are empty.
struct DiskRow {
  std::string name;        ///< of the device: "sda1"
  std::string above;       ///< the name of the device that it lies on, which precedes it; empty for a disk
  std::size_t depth = 0;   ///< 0 for a disk, otherwise one more than that device's
  std::uint64_t size = 0;  ///< bytes
  std::string content;     ///< what the partition table says that it holds, or the kind of table; see PartitionType
  std::string fileSystem;  ///< "ext4"
  std::string label;       ///< of the file system
  bool writable = true;
  bool removable = false;
  std::vector<std::string> mountPoints = {};

  bool operator==(const DiskRow&) const = default;
};

/// The machine's disks with a medium, each followed by what lies on it. Devices that go away meanwhile are omitted.
std::vector<DiskRow> readDisks();

/// What to do with a disk; see DiskMounter.
struct DiskRequest {
  bool mounts = true;  ///< otherwise unmounts
  std::string device = {};
  bool whole = false;
  bool force = false;
};

struct DiskOutcome {
  bool done = false;
  std::string message = {};  ///< of a failure, and its reason; see DiskMounter
  std::string detail = {};
  std::vector<std::pair<std::string, std::string>> mounted =
      {};  ///< after mounting: devices, and where they are mounted
};

/// Performs a request. May wait for as long as a person needs.
DiskOutcome perform(const DiskRequest& request);

}  // namespace corvane::inspector
