#pragma once

#include <atomic>
#include <cstdint>

#include "corvane/core/Mutex.h"
#include "corvane/infra/Diagnostics.h"
#include "corvane/infra/diagnostics/LastMinute.h"

namespace corvane {

/// What this very process shows of itself. Nothing that the program does not have yet (a log, settings) is created by
/// looking at it.
class ThisProgram : public Inspectable {
 public:
  explicit ThisProgram(Diagnostics::Permissions permissions) : m_permissions(permissions) {}

  void allow(Diagnostics::Permissions permissions) { m_permissions = permissions; }

  Result<ProgramIdentity> identity() override;
  Result<std::vector<RepeaterState>> repeaters() override;
  Result<QueueStates> queues() override;
  Result<std::vector<ListenerState>> listeners() override;
  Result<LogState> log(const LogPlace& after, std::size_t limit) override;
  Result<std::vector<SettingState>> settings() override;
  Result<std::shared_ptr<void>> watch() override;
  Result<Recording> recording(double seconds) override;
  Result<LongSpans> longSpans(std::uint64_t since, std::int64_t nsec) override;
  Result<void> resetStats() override;
  Result<void> setTimeConstant(double seconds) override;
  Result<void> setPaused(std::uint64_t id, bool paused) override;

 private:
  bool allows(Diagnostics::Permissions permission) const { return (m_permissions & permission) != 0; }
  Result<void> mayControl() const;

  std::atomic<Diagnostics::Permissions> m_permissions;
  Mutex m_mutex;
  LastMinute m_minute CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
