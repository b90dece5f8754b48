#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace corvane::inspector {

/// The time of a reading.
using Moment = std::chrono::steady_clock::time_point;

/// Physical memory, in bytes. Memory that the kernel can free at once (caches) does not count as used.
struct Memory {
  std::uint64_t used = 0;
  std::uint64_t total = 0;
};

/// Bytes per second in both directions: read and written, or received and sent.
struct Throughput {
  double in = 0;
  double out = 0;
};

struct Temperature {
  std::string sensor;
  double celsius = 0;
};

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

}  // namespace corvane::inspector
