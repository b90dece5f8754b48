#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/History.h"
#include "apps/inspector/model/Readers.h"
#include "apps/inspector/model/Tasks.h"
#include "corvane/core/Timeval.h"

namespace corvane::inspector {

/// The latest readings; what could not be read is missing.
struct Readings {
  std::optional<double> processor;  ///< percent
  std::optional<Memory> memory;
  std::optional<Throughput> disk;
  std::optional<Throughput> network;
  std::optional<std::int64_t> processes;
  std::vector<Temperature> temperatures;

  /// The highest temperature.
  std::optional<double> hottest() const;
};

/// The readings that have a graph.
enum class Gauge : std::size_t {
  PROCESSOR,
  MEMORY,
  DISK_READ,
  DISK_WRITE,
  NETWORK_IN,
  NETWORK_OUT,
  PROCESSES,
  TEMPERATURE
};
inline constexpr std::size_t GAUGES = 8;

/// The tasks that take the readings, each at its own pace, and what they found. On the main queue only.
///
/// Every reading is broadcast under a key of its own, and the histories listen. Now and then a line about the readings
/// is broadcast asynchronously under "heartbeat", for the log.
class Monitor {
 public:
  /// Starts the tasks. The readings come from the files below `root`.
  explicit Monitor(const std::string& root);
  ~Monitor();
  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;

  Tasks& tasks() { return m_tasks; }
  const Tasks& tasks() const { return m_tasks; }
  /// Whether the readings are this machine's, not those of another folder.
  bool isOfMachine() const { return m_isOfMachine; }
  const Readings& readings() const { return m_readings; }
  const History& history(Gauge gauge) const { return *m_histories[static_cast<std::size_t>(gauge)]; }

  /// When the monitor was made.
  Timeval started() const { return m_started; }

 private:
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
  Timeval m_started;
  Tasks m_tasks;  // last, because its tasks use the others
};

}  // namespace corvane::inspector
