#include "corvane/system/DiskMounter.h"

#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Log.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {
constexpr std::size_t LONGEST_LOGGED = 255;  // bytes of a name: what is no name of a device must not fill the log
}

/// A kind of request.
struct DiskMounter::Request {
  const char* labelSuffix;
  const char* trouble;  ///< the beginning of the error message
  Result<void> (DiskSession::*begin)(const std::string& disk, std::uint32_t options, DiskSession::Answer answer);
};

DiskMounter::DiskMounter(std::string prefix) : m_prefix(std::move(prefix)) {}

bool DiskMounter::mount(const std::string& device, bool whole) {
  static constexpr Request MOUNT = {".mount", "Cannot mount device: /dev/", &DiskSession::mount};
  return perform(MOUNT, device, whole ? DISK_WHOLE : 0);
}

bool DiskMounter::unmount(const std::string& device, bool whole, bool force) {
  static constexpr Request UNMOUNT = {".unmount", "Cannot unmount device: /dev/", &DiskSession::unmount};
  return perform(UNMOUNT, device, (whole ? DISK_WHOLE : 0) + (force ? DISK_FORCE : 0));
}

bool DiskMounter::perform(const Request& request, const std::string& device, std::uint32_t options) {
  MutexLock requests(m_requests);
  DispatchQueueSerial queue(m_prefix + request.labelSuffix, QoS::DEFAULT);
  const auto session = platform().diskService().open(queue.dqueue());
  const auto disk = session ? session.value()->disk(device) : tl::unexpected(session.error());
  MutexLock lock(m_mutex);
  m_success = false;
  if (disk) {
    m_complete = false;
    m_message.clear();
    m_device = device;
    const auto begun =
        (session.value().get()->*request.begin)(*disk, options, [this, &request](const std::optional<Error>& dissent) {
          MutexLock answered(m_mutex);
          complete(request, dissent);
        });
    if (!begun) complete(request, begun.error());
    while (!m_complete) m_mutex.wait(COND_WAIT_FOREVER);
  } else {
    m_detail = disk.error().description;
  }
  const bool success = m_success;
  const std::string detail = m_detail;
  lock.unlock();
  if (!success) logNotice(request.trouble + device.substr(0, LONGEST_LOGGED) + ": " + detail);
  return success;
}

void DiskMounter::complete(const Request& request, const std::optional<Error>& dissent) {
  if (dissent) m_message = platform().localization().text(request.trouble) + m_device;
  m_detail = dissent ? dissent->description : "";
  m_complete = true;
  m_success = !dissent;
  m_mutex.broadcast();
}

std::string DiskMounter::errorMessage() const {
  MutexLock lock(m_mutex);
  return m_message;
}

std::string DiskMounter::errorDetail() const {
  MutexLock lock(m_mutex);
  return m_detail;
}

std::vector<std::string> DiskMounter::mountPoints(const std::string& device) {
  return platform().diskService().mountPoints()[device];
}

}  // namespace corvane
