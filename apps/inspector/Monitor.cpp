#include "apps/inspector/Monitor.h"

#include <algorithm>

#include "apps/inspector/Format.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Logger.h"

namespace corvane::inspector {

std::optional<double> Readings::hottest() const {
  const auto hottest = std::max_element(temperatures.begin(), temperatures.end(),
                                        [](const auto& a, const auto& b) { return a.celsius < b.celsius; });
  return hottest == temperatures.end() ? std::nullopt : std::optional(hottest->celsius);
}

Monitor::Monitor(const std::string& root)
    : m_processor(root), m_memory(root), m_disk(root), m_network(root), m_processes(root), m_temperature(root) {
  m_tasks.start("processor load", 0.5, [this] {
    m_readings.processor = m_processor.read();
    add(Gauge::PROCESSOR, m_readings.processor);
  });
  m_tasks.start("memory", 1, [this] {
    const auto memory = m_readings.memory = m_memory.read();
    add(Gauge::MEMORY, memory ? std::optional(static_cast<double>(memory->used)) : std::nullopt);
  });
  m_tasks.start("disk throughput", 1, [this] {
    m_readings.disk = m_disk.read(std::chrono::steady_clock::now());
    addBoth(Gauge::DISK_READ, Gauge::DISK_WRITE, m_readings.disk);
  });
  m_tasks.start("network throughput", 1, [this] {
    m_readings.network = m_network.read(std::chrono::steady_clock::now());
    addBoth(Gauge::NETWORK_IN, Gauge::NETWORK_OUT, m_readings.network);
  });
  m_tasks.start("processes", 2, [this] {
    const auto processes = m_readings.processes = m_processes.read();
    add(Gauge::PROCESSES, processes ? std::optional(static_cast<double>(*processes)) : std::nullopt);
  });
  if (!m_temperature.read().empty()) {
    m_tasks.start("temperature", 5, [this] {
      m_readings.temperatures = m_temperature.read();
      add(Gauge::TEMPERATURE, m_readings.hottest());
    });
  }
  // A program without an identifier, one copied out of its place say, keeps no log.
  if (Bundle::mainBundle()->identifier()) m_tasks.start("log heartbeat", 10, [this] { logHeartbeat(); });
}

void Monitor::addBoth(Gauge in, Gauge out, const std::optional<Throughput>& throughput) {
  add(in, throughput ? std::optional(throughput->in) : std::nullopt);
  add(out, throughput ? std::optional(throughput->out) : std::nullopt);
}

void Monitor::logHeartbeat() const {
  std::string line = "heartbeat: running for " + m_started.hhmmss();
  if (m_readings.processor) line += ", processor load " + decimal(*m_readings.processor, 1) + " %";
  if (m_readings.processes) line += ", " + std::to_string(*m_readings.processes) + " processes";
  Logger::instance()->log(line);
}

}  // namespace corvane::inspector
