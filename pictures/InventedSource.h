#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "apps/inspector/model/Source.h"

namespace corvane::inspector {

/// A machine that does not exist, the same each time, with an hour of readings: for pictures that people look at.
class InventedSource : public Source, private Machine, private RepeaterSource {
 public:
  /// Its log is a file in this folder.
  explicit InventedSource(const std::string& folder);

  Machine& machine() override { return *this; }
  std::string name() const override { return {}; }
  ProgramIdentity identity() const override { return {}; }
  Presence presence() const override { return Presence::HERE; }
  Timeval started() const override { return m_started; }
  std::string settingsDomain() const override { return {}; }
  RepeaterSource& repeaters() override { return *this; }
  std::vector<broadcaster_stats> listeners() const override;
  LogFigures log() const override;
  std::shared_ptr<void> followLog(std::size_t, LogTaker) override { return nullptr; }
  std::shared_ptr<void> followQueues(QueueTaker taker) override;
  std::shared_ptr<void> watch() override { return nullptr; }
  std::shared_ptr<void> takeRecording(double seconds, RecordingTaker taker) override;
  std::shared_ptr<void> followLongSpans(std::int64_t, SpanTaker) override { return nullptr; }

 private:
  std::string host() const override { return "heron"; }
  const Readings& readings() const override { return m_readings; }
  const History& history(Gauge gauge) const override { return m_histories[static_cast<std::size_t>(gauge)]; }
  std::shared_ptr<void> followProcesses(bool figures, ProcessTaker taker) override;
  std::shared_ptr<void> followProcess(pid_t pid, ProcessTaker taker) override;
  std::shared_ptr<void> followAssertions(AssertionTaker taker) override;
  std::shared_ptr<void> followDisks(DiskTaker taker) override;
  std::shared_ptr<void> request(const DiskRequest&, OutcomeTaker) override { return nullptr; }
  Result<void> signal(pid_t, std::int64_t, int) override { return failure("inspector", 0, "nothing runs"); }
  std::vector<RepeaterRow> rows() const override;
  bool allowsControl() const override { return true; }
  void togglePause(std::string_view) override {}
  void resetStats() override {}
  int timeConstant() const override { return 10; }
  void setTimeConstant(int) override {}

  const std::string m_log;
  const Timeval m_started;
  Readings m_readings;
  std::array<History, GAUGES> m_histories;
};

}  // namespace corvane::inspector
