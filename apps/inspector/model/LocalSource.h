#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/Readers.h"
#include "apps/inspector/model/Repeaters.h"
#include "apps/inspector/model/Source.h"
#include "corvane/core/DispatchQueueSerial.h"

namespace corvane::inspector {

/// This process and its machine: repeaters that take the readings, each at its own rate, and the results.
///
/// Every reading is broadcast under its own key, and the histories listen. From time to time a line about the readings
/// is broadcast asynchronously under "heartbeat", for the log.
class LocalSource : public Source {
 public:
  /// Starts the repeaters. The readings come from the files below `root`; "" is the machine itself. Processes are shown
  /// for the machine itself only: elsewhere their ids may belong to processes other than those that would receive
  /// signals.
  explicit LocalSource(const std::string& root);
  ~LocalSource() override;
  LocalSource(const LocalSource&) = delete;
  LocalSource& operator=(const LocalSource&) = delete;

  std::string host() const override;
  Timeval started() const override { return m_started; }
  const Readings& readings() const override { return m_readings; }
  const History& history(Gauge gauge) const override { return *m_histories[static_cast<std::size_t>(gauge)]; }
  Repeaters& repeaters() override { return m_repeaters; }
  std::vector<broadcaster_stats> listeners() const override { return broadcasterStats(); }
  LogFigures log() const override;
  std::optional<std::string> logTail(std::size_t limit) const override;
  std::shared_ptr<void> followProcesses(bool figures, ProcessTaker taker) override;
  std::shared_ptr<void> followProcess(pid_t pid, ProcessTaker taker) override;
  std::shared_ptr<void> followAssertions(AssertionTaker taker) override;
  std::shared_ptr<void> followDisks(DiskTaker taker) override;
  std::shared_ptr<void> request(const DiskRequest& request, OutcomeTaker taker) override;
  Result<void> signal(pid_t pid, std::int64_t started, int number) override;

 private:
  void startReaders();
  static void announce(Gauge gauge, std::optional<double> value);
  static void announceBoth(Gauge in, Gauge out, const std::optional<Throughput>& throughput);
  void announceHeartbeat() const;

  const bool m_isOfMachine;
  ProcessorReader m_processor;
  MemoryReader m_memory;
  DiskReader m_disk;
  NetworkReader m_network;
  ProcessReader m_processes;
  TemperatureReader m_temperature;
  Readings m_readings;
  std::array<std::shared_ptr<History>, GAUGES> m_histories;
  const std::shared_ptr<Listener> m_heartbeatLog;
  const Timeval m_started;
  DispatchQueueSerial m_diskRequests{"disk requests", QoS::USER_INITIATED};
  Repeaters m_repeaters;  // last, because their work uses the others
};

}  // namespace corvane::inspector
