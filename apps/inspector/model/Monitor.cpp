#include "apps/inspector/model/Monitor.h"

#include <algorithm>

#include "apps/inspector/text/Format.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Logger.h"

namespace corvane::inspector {

namespace {

constexpr std::array<const char*, GAUGES> KEYS = {"processor",  "memory",      "disk read", "disk write",
                                                  "network in", "network out", "processes", "temperature"};
constexpr char HEARTBEAT[] = "heartbeat";

// Writes what is broadcast to the log, off the main queue.
class HeartbeatLog : public Listener {
  void onBroadcast(const std::string& key, const std::any& object) override {
    Logger::instance()->log(key + ": " + std::any_cast<const std::string&>(object));
  }
};

}  // namespace

std::optional<double> Readings::hottest() const {
  const auto hottest = std::max_element(temperatures.begin(), temperatures.end(),
                                        [](const auto& a, const auto& b) { return a.celsius < b.celsius; });
  return hottest == temperatures.end() ? std::nullopt : std::optional(hottest->celsius);
}

Monitor::Monitor(const std::string& root)
    : m_isOfMachine(root.empty()),
      m_processor(root),
      m_memory(root),
      m_disk(root),
      m_network(root),
      m_processes(root),
      m_temperature(root),
      m_heartbeatLog(std::make_shared<HeartbeatLog>()) {
  for (std::size_t i = 0; i < GAUGES; ++i) AddListener(KEYS[i], m_histories[i] = std::make_shared<History>());
  AddListener(HEARTBEAT, m_heartbeatLog);
  m_tasks.start("processor load", 0.5, [this] {
    m_readings.processor = m_processor.read();
    announce(Gauge::PROCESSOR, m_readings.processor);
  });
  m_tasks.start("memory", 1, [this] {
    const auto memory = m_readings.memory = m_memory.read();
    announce(Gauge::MEMORY, memory ? std::optional(static_cast<double>(memory->used)) : std::nullopt);
  });
  m_tasks.start("disk throughput", 1, [this] {
    m_readings.disk = m_disk.read(std::chrono::steady_clock::now());
    announceBoth(Gauge::DISK_READ, Gauge::DISK_WRITE, m_readings.disk);
  });
  m_tasks.start("network throughput", 1, [this] {
    m_readings.network = m_network.read(std::chrono::steady_clock::now());
    announceBoth(Gauge::NETWORK_IN, Gauge::NETWORK_OUT, m_readings.network);
  });
  m_tasks.start("processes", 2, [this] {
    const auto processes = m_readings.processes = m_processes.read();
    announce(Gauge::PROCESSES, processes ? std::optional(static_cast<double>(*processes)) : std::nullopt);
  });
  if (!m_temperature.read().empty()) {
    m_tasks.start("temperature", 5, [this] {
      m_readings.temperatures = m_temperature.read();
      announce(Gauge::TEMPERATURE, m_readings.hottest());
    });
  }
  // A program without an identifier, one copied out of its place say, keeps no log.
  if (Bundle::mainBundle()->identifier()) m_tasks.start("log heartbeat", 10, [this] { announceHeartbeat(); });
}

Monitor::~Monitor() {
  for (std::size_t i = 0; i < GAUGES; ++i) RemoveListener(KEYS[i], m_histories[i]);
  RemoveListener(HEARTBEAT, m_heartbeatLog);
}

void Monitor::announce(Gauge gauge, std::optional<double> value) {
  Broadcast(KEYS[static_cast<std::size_t>(gauge)], value);
}

void Monitor::announceBoth(Gauge in, Gauge out, const std::optional<Throughput>& throughput) {
  announce(in, throughput ? std::optional(throughput->in) : std::nullopt);
  announce(out, throughput ? std::optional(throughput->out) : std::nullopt);
}

void Monitor::announceHeartbeat() const {
  std::string line = "running for " + m_started.hhmmss();
  if (m_readings.processor) line += ", processor load " + decimal(*m_readings.processor, 1) + " %";
  if (m_readings.processes) line += ", " + std::to_string(*m_readings.processes) + " processes";
  Broadcast(HEARTBEAT, line, true);
}

}  // namespace corvane::inspector
