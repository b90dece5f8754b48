#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/DiskService.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Disks defined by a test, which records the requests. Set the fields while no request is under way.
class CORVANE_API FakeDiskService : public DiskService {
 public:
  std::set<std::string> devices;                           ///< the device names that exist
  std::optional<Error> error;                              ///< if set, there is no service: open() fails with it
  std::optional<Error> refusal;                            ///< if set, requests cannot begin
  std::optional<Error> dissent;                            ///< if set, requests are answered with it
  std::map<std::string, std::vector<std::string>> madeOf;  ///< devices → the result of backing()
  std::function<void()> beforeAnswer{};                    ///< called on the queue before each answer; may wait

  /// One request that was made.
  struct Call {
    std::string name;       ///< "mount" or "unmount"
    std::string device;     ///< the service's name of it
    std::uint32_t options;  ///< DISK_WHOLE, DISK_FORCE
    bool operator==(const Call&) const = default;
  };
  /// The requests so far, in order.
  std::vector<Call> calls() const;

  Result<std::unique_ptr<DiskSession>> open(SerialQueue& queue) override;

  /// A device that was mounted successfully is mounted at /media/NAME.
  std::map<std::string, std::vector<std::string>> mountPoints() override;
  std::vector<std::string> backing(const std::string& device) override { return madeOf[device]; }

 private:
  class Session;
  mutable Mutex m_mutex;
  std::vector<Call> m_calls CORVANE_GUARDED_BY(m_mutex);
  std::set<std::string> m_mounted CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
