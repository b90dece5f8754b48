#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "apps/inspector/model/Disks.h"
#include "apps/inspector/model/History.h"
#include "apps/inspector/model/ProcessRow.h"
#include "apps/inspector/model/Readings.h"
#include "corvane/platform/PowerManager.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The source of a machine's figures. On the main queue only; no call waits for another process. Values that change are
/// read again whenever they are shown.
class Machine {
 public:
  virtual ~Machine() = default;

  /// The machine's name, as unchecked bytes.
  virtual std::string host() const = 0;

  virtual const Readings& readings() const = 0;
  virtual const History& history(Gauge gauge) const = 0;

  /// Passes on the machine's processes periodically, for as long as the result lives; or once the reason why this is
  /// not possible, perhaps before it returns. With `figures` if wanted, for which a person may be asked: until then,
  /// nothing is passed on.
  using ProcessTaker = std::function<void(Result<std::vector<ProcessRow>>)>;
  virtual std::shared_ptr<void> followProcesses(bool figures, ProcessTaker taker) = 0;

  /// Passes on one process with its open files, in the same way; no row once it has ended. Another one may get its id.
  virtual std::shared_ptr<void> followProcess(pid_t pid, ProcessTaker taker) = 0;

  /// Passes on what keeps the machine awake, in the same way.
  using AssertionTaker = std::function<void(Result<std::vector<AssertionRecord>>)>;
  virtual std::shared_ptr<void> followAssertions(AssertionTaker taker) = 0;

  /// Passes on the machine's disks, in the same way.
  using DiskTaker = std::function<void(Result<std::vector<DiskRow>>)>;
  virtual std::shared_ptr<void> followDisks(DiskTaker taker) = 0;

  /// Mounts or unmounts a disk in the background, and passes the outcome on, later, if the result still lives then.
  using OutcomeTaker = std::function<void(const DiskOutcome&)>;
  virtual std::shared_ptr<void> request(const DiskRequest& request, OutcomeTaker taker) = 0;

  /// Sends a signal to the process with this id and start time (see ProcessRow), never to another one that has since
  /// got the same id. The failure's description is a clause for the user.
  virtual Result<void> signal(pid_t pid, std::int64_t started, int number) = 0;
};

}  // namespace corvane::inspector
