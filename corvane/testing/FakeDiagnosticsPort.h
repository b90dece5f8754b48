#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A program that shows what a test says. A field is what the call of its name returns; set it before other threads
/// look. Control calls are recorded.
class CORVANE_API FakeProgram : public Inspectable {
 public:
  /// What identity() and its siblings return.
  Result<ProgramIdentity> itsIdentity = ProgramIdentity();
  Result<std::vector<RepeaterState>> itsRepeaters = std::vector<RepeaterState>();
  Result<QueueStates> itsQueues = QueueStates();
  Result<std::vector<ListenerState>> itsListeners = std::vector<ListenerState>();
  Result<LogState> itsLog = LogState();
  Result<std::vector<SettingState>> itsSettings = std::vector<SettingState>();
  Result<Recording> itsRecording = Recording();
  Result<LongSpans> itsLongSpans = LongSpans();
  Result<void> control = {};       ///< what control calls return
  std::vector<std::string> calls;  ///< control calls: "resetStats", "setTimeConstant 2.50", "setPaused 7 true"
  std::atomic<int> watches = 0;    ///< how many are held now

  Result<ProgramIdentity> identity() override { return itsIdentity; }
  Result<std::vector<RepeaterState>> repeaters() override { return itsRepeaters; }
  Result<QueueStates> queues() override { return itsQueues; }
  Result<std::vector<ListenerState>> listeners() override { return itsListeners; }
  Result<LogState> log(const LogPlace&, std::size_t) override { return itsLog; }
  Result<std::vector<SettingState>> settings() override { return itsSettings; }
  Result<std::shared_ptr<void>> watch() override;
  Result<Recording> recording(double) override { return itsRecording; }
  Result<LongSpans> longSpans(std::uint64_t, std::int64_t) override { return itsLongSpans; }
  Result<void> resetStats() override;
  Result<void> setTimeConstant(double seconds) override;
  Result<void> setPaused(std::uint64_t id, bool paused) override;
};

/// Programs defined by a test, in this process. Any thread, except for the fields.
class CORVANE_API FakeDiagnosticsPort : public DiagnosticsPort {
 public:
  std::map<std::int32_t, std::shared_ptr<Inspectable>> others;  ///< by process id
  std::optional<Error> error;                                   ///< if set, every call fails with it

  /// What this process shows; null if it shows nothing.
  std::shared_ptr<Inspectable> opened() const;

  Result<std::shared_ptr<void>> open(std::shared_ptr<Inspectable> program) override;
  Result<std::vector<std::int32_t>> programs() override;
  Result<std::shared_ptr<Inspectable>> connect(std::int32_t pid) override;

 private:
  mutable Mutex m_mutex;
  std::weak_ptr<const std::shared_ptr<Inspectable>> m_opened CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
