#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "apps/inspector/model/Source.h"

namespace corvane::inspector {

/// A machine that does not exist, the same each time, with an hour of readings: for pictures that people look at.
class InventedSource : public Source, private RepeaterSource {
 public:
  /// Its log is a file in this folder.
  explicit InventedSource(const std::string& folder);

  std::string host() const override { return "heron"; }
  Timeval started() const override { return m_started; }
  const Readings& readings() const override { return m_readings; }
  const History& history(Gauge gauge) const override { return m_histories[static_cast<std::size_t>(gauge)]; }
  RepeaterSource& repeaters() override { return *this; }
  std::vector<broadcaster_stats> listeners() const override;
  LogFigures log() const override;
  std::optional<std::string> logTail(std::size_t limit) const override;
  std::shared_ptr<void> followProcesses(bool figures, ProcessTaker taker) override;
  std::shared_ptr<void> followProcess(pid_t pid, ProcessTaker taker) override;
  std::shared_ptr<void> followAssertions(AssertionTaker taker) override;
  std::shared_ptr<void> followDisks(DiskTaker taker) override;
  std::shared_ptr<void> request(const DiskRequest&, OutcomeTaker) override { return nullptr; }
  Result<void> signal(pid_t, std::int64_t, int) override { return failure("inspector", 0, "nothing runs"); }

 private:
  std::vector<RepeaterRow> rows() const override;
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
