#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/History.h"
#include "apps/inspector/Readers.h"
#include "apps/inspector/Tasks.h"
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
class Monitor {
 public:
  /// Starts the tasks. The readings come from the files below `root`.
  explicit Monitor(const std::string& root);

  Tasks& tasks() { return m_tasks; }
  const Tasks& tasks() const { return m_tasks; }
  const Readings& readings() const { return m_readings; }
  const History& history(Gauge gauge) const { return m_histories[static_cast<std::size_t>(gauge)]; }

  /// When the monitor was made.
  Timeval started() const { return m_started; }

 private:
  void add(Gauge gauge, std::optional<double> value) { m_histories[static_cast<std::size_t>(gauge)].add(value); }
  void addBoth(Gauge in, Gauge out, const std::optional<Throughput>& throughput);
  void logHeartbeat() const;

  ProcessorReader m_processor;
  MemoryReader m_memory;
  DiskReader m_disk;
  NetworkReader m_network;
  ProcessReader m_processes;
  TemperatureReader m_temperature;
  Readings m_readings;
  std::array<History, GAUGES> m_histories;
  Timeval m_started;
  Tasks m_tasks;  // last, because its tasks use the others
};

}  // namespace corvane::inspector
