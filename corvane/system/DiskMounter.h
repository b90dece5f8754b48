#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Mounts and unmounts disks and partitions by their device names.
///
///     corvane::DiskMounter mounter("org.example.Backup");
///     if (!mounter.mount("sdb1", false)) show(mounter.errorMessage(), mounter.errorDetail());
///
/// A device name is "sdb1" for /dev/sdb1. corvane/platform/DiskService.h says what "whole" and "force" mean, which file
/// systems are mounted where, and who may do it.
///
/// Requests block without a time limit, until the service answers: a person may have to enter a password. They end when
/// the service or the system bus disappears. They may be made on any thread, including the main one: the answer arrives
/// on a queue of the request's own. Requests of one mounter run one after the other; use a mounter for each thread.
class CORVANE_API DiskMounter {
 public:
  /// The labels of the queues are this prefix with ".mount" or ".unmount".
  explicit DiskMounter(std::string prefix);

  /// Mounts the device or, if `whole`, the whole disk that it belongs to. False if that fails; see errorMessage().
  bool mount(const std::string& device, bool whole) CORVANE_EXCLUDES(m_mutex);

  /// Unmounts it; if `force`, even if it is in use.
  bool unmount(const std::string& device, bool whole, bool force) CORVANE_EXCLUDES(m_mutex);

  /// "Cannot mount device: /dev/sdb1" or "Cannot unmount device: /dev/sdb1", in the user's language, after a request
  /// that the service refused; empty after one that succeeded. If there is no service or no such device, it remains
  /// that of the previous request.
  std::string errorMessage() const CORVANE_EXCLUDES(m_mutex);

  /// Why the last request failed, in words for people: the service's own, in its language ("Error mounting /dev/sdb1
  /// at …"); also if there is no service or no such device. Several failures of a whole disk are separated by "; ".
  /// Empty after a success. The log gets it as well.
  std::string errorDetail() const CORVANE_EXCLUDES(m_mutex);

  /// The folders where a device is mounted, if it is. The name must be the kernel's: "dm-0", not a link such as
  /// "mapper/backup".
  static std::vector<std::string> mountPoints(const std::string& device);

 private:
  struct Request;
  bool perform(const Request& request, const std::string& device, std::uint32_t options) CORVANE_EXCLUDES(m_mutex);
  void complete(const Request& request, const std::optional<Error>& dissent) CORVANE_REQUIRES(m_mutex);

  const std::string m_prefix;
  Mutex m_requests;  // one at a time
  mutable Mutex m_mutex;
  bool m_complete CORVANE_GUARDED_BY(m_mutex) = false;
  bool m_success CORVANE_GUARDED_BY(m_mutex) = false;
  std::string m_message CORVANE_GUARDED_BY(m_mutex);
  std::string m_detail CORVANE_GUARDED_BY(m_mutex);
  std::string m_device CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
