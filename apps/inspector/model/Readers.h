#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/Readings.h"

namespace corvane::inspector {

// Each reader takes one kind of reading from the kernel's files below `root` ("" is the machine itself). If the files
// are missing or make no sense, there is no reading.

/// Load of all processors together.
class ProcessorReader {
 public:
  explicit ProcessorReader(const std::string& root) : m_path(root + "/proc/stat") {}

  /// The load in percent since the previous call; std::nullopt at the first call.
  std::optional<double> read();

 private:
  struct Times {
    std::uint64_t total = 0;
    std::uint64_t idle = 0;
  };
  static std::optional<Times> parse(const std::optional<std::string>& text);

  std::string m_path;
  std::optional<Times> m_before;
};

class MemoryReader {
 public:
  explicit MemoryReader(const std::string& root) : m_path(root + "/proc/meminfo") {}
  std::optional<Memory> read() const;

 private:
  std::string m_path;
};

/// Computes a rate from the counters of devices that may come and go.
class RateMeter {
 public:
  struct Counters {
    std::uint64_t in = 0;
    std::uint64_t out = 0;
  };
  using Devices = std::map<std::string, Counters, std::less<>>;

  /// Units per second since the previous call, over the devices that existed then and whose counters did not decrease.
  /// std::nullopt at the first call, without devices, or if no time has passed.
  std::optional<Throughput> update(Devices devices, Moment now);

 private:
  Devices m_before;
  Moment m_when;
};

/// Throughput of whole physical disks: partitions and devices built on others would count the same bytes again.
class DiskReader {
 public:
  explicit DiskReader(std::string root) : m_root(std::move(root)) {}
  std::optional<Throughput> read(Moment now);

 private:
  bool isPhysical(std::string name) const;

  std::string m_root;
  RateMeter m_meter;
};

/// Throughput of all network interfaces except the loopback.
class NetworkReader {
 public:
  explicit NetworkReader(const std::string& root) : m_path(root + "/proc/net/dev") {}
  std::optional<Throughput> read(Moment now);

 private:
  std::string m_path;
  RateMeter m_meter;
};

/// Number of processes.
class ProcessReader {
 public:
  explicit ProcessReader(const std::string& root) : m_path(root + "/proc") {}
  std::optional<std::int64_t> read() const;

 private:
  std::string m_path;
};

/// The temperature sensors: those of the hardware monitors or, if there are none, of the thermal zones.
class TemperatureReader {
 public:
  explicit TemperatureReader(std::string root) : m_root(std::move(root)) {}

  /// All sensors that answer, in a stable order.
  std::vector<Temperature> read() const;

 private:
  std::string m_root;
};

}  // namespace corvane::inspector
