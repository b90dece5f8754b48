#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/Machine.h"
#include "apps/inspector/model/Readers.h"
#include "apps/inspector/model/Repeaters.h"
#include "corvane/core/DispatchQueueSerial.h"

namespace corvane::inspector {

/// The machine that this process runs on: repeaters take the readings, each at its own rate. Every reading is broadcast
/// under its own key, and the histories listen.
class LocalMachine : public Machine {
 public:
  /// Starts the repeaters, which must not run any more when this object is gone. The readings come from the files below
  /// `root`; "" is the machine itself. Processes are shown for the machine itself only: elsewhere their ids may belong
  /// to processes other than those that would receive signals.
  LocalMachine(const std::string& root, Repeaters& repeaters);
  ~LocalMachine() override;
  LocalMachine(const LocalMachine&) = delete;
  LocalMachine& operator=(const LocalMachine&) = delete;

  std::string host() const override;
  const Readings& readings() const override { return m_readings; }
  const History& history(Gauge gauge) const override { return *m_histories[static_cast<std::size_t>(gauge)]; }
  std::shared_ptr<void> followProcesses(bool figures, ProcessTaker taker) override;
  std::shared_ptr<void> followProcess(pid_t pid, ProcessTaker taker) override;
  std::shared_ptr<void> followAssertions(AssertionTaker taker) override;
  std::shared_ptr<void> followDisks(DiskTaker taker) override;
  std::shared_ptr<void> request(const DiskRequest& request, OutcomeTaker taker) override;
  Result<void> signal(pid_t pid, std::int64_t started, int number) override;

 private:
  void startReaders(Repeaters& repeaters);
  static void announce(Gauge gauge, std::optional<double> value);
  static void announceBoth(Gauge in, Gauge out, const std::optional<Throughput>& throughput);

  const bool m_isOfMachine;
  ProcessorReader m_processor;
  MemoryReader m_memory;
  DiskReader m_disk;
  NetworkReader m_network;
  ProcessReader m_processes;
  TemperatureReader m_temperature;
  Readings m_readings;
  std::array<std::shared_ptr<History>, GAUGES> m_histories;
  DispatchQueueSerial m_diskRequests{"disk requests", QoS::USER_INITIATED};
};

}  // namespace corvane::inspector
