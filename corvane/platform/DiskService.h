#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/SerialQueues.h"
#include "corvane/platform/Service.h"

namespace corvane {

// Options of a request; their sum is passed.
inline constexpr std::uint32_t DISK_WHOLE = 1;         ///< all volumes of the disk that the device belongs to
inline constexpr std::uint32_t DISK_FORCE = 0x8'0000;  ///< unmount although files are open

/// A connection to the service that mounts disks. Any thread.
class DiskSession {
 public:
  /// Called once, on the queue that the session was opened with: std::nullopt if the request succeeded, otherwise why
  /// the service dissents, in words for people. Also called when the service disappears. May be called after the
  /// session was destroyed.
  using Answer = std::function<void(const std::optional<Error>& dissent)>;

  virtual ~DiskSession() = default;

  /// The service's own name for the disk or partition with this device name ("sda1", without "/dev/"); an Error if
  /// there is none, or if the service does not answer within 5 s.
  virtual Result<std::string> disk(const std::string& device) = 0;

  /// Mounts or unmounts a disk, and returns before the answer comes, which may take as long as a person needs to enter
  /// a password. An Error means that the request could not begin; then no answer comes.
  virtual Result<void> mount(const std::string& disk, std::uint32_t options, Answer answer) = 0;
  virtual Result<void> unmount(const std::string& disk, std::uint32_t options, Answer answer) = 0;
};

/// Mounts and unmounts the file systems of disks, and knows which are mounted. Any thread.
///
/// On Linux: UDisks2 on the system bus.
/// - The volumes of a disk are its partitions, by their place on it, or the disk itself if it has no partition table,
///   and what unlocked encrypted volumes hold.
/// - Mounting a whole disk mounts all its file systems, except those that the system hides from users, such as EFI
///   partitions. Success means that all of them are mounted, whether by this request or before. Unmounting it unmounts
///   everything, the last first; success means that nothing of it is mounted any more. A disk without a file system is
///   a dissent. After a failure the others are still tried.
/// - A single volume that is already mounted, or not mounted, is a dissent. One with several mount points is removed
///   from all of them.
/// - Mount points are those of /etc/fstab, else /media/USER/LABEL or /run/media/USER/LABEL. Read-only media are mounted
///   read-only.
/// - Force detaches a busy file system at once; programs that have files open there go on using it.
/// - What the user may not do alone, the desktop's authentication agent asks an administrator for. Removable media are
///   free in an active session.
///
/// @feature Mounting: `DiskMounter`.
/// @needs UDisks2 on the system bus (`udisks2`), and polkit to ask for permission.
/// @without Mounting and unmounting fail, and `errorMessage()` says why.
class DiskService {
 public:
  virtual ~DiskService() = default;

  /// Connects within 5 s; the answers arrive on the queue, which must outlive the session.
  virtual Result<std::unique_ptr<DiskSession>> open(SerialQueue& queue) = 0;

  /// The mounted devices by the kernel's name and, for each, the folders where it is mounted, in the system's order.
  virtual std::map<std::string, std::vector<std::string>> mountPoints() = 0;

  /// The names of the devices that a device is made of, such as an unlocked encrypted volume, a logical volume or an
  /// array; empty for disks and partitions.
  virtual std::vector<std::string> backing(const std::string& device) = 0;
};

template <>
CORVANE_API std::shared_ptr<DiskService> makeService<DiskService>();

}  // namespace corvane
