#include "apps/inspector/model/LocalSource.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "apps/inspector/model/Assertions.h"
#include "apps/inspector/model/Feed.h"
#include "apps/inspector/model/FigureReader.h"
#include "apps/inspector/model/ProcessSample.h"
#include "apps/inspector/model/ProcessSignal.h"
#include "apps/inspector/model/TextFile.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/Text.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Logger.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

struct GaugeKind {
  const char* key;  // under which its readings are broadcast
  double interval;  // seconds between them
};

// In the order of Gauge. Both directions of disks, and of networks, are read at once.
constexpr std::array<GaugeKind, GAUGES> KINDS = {{{"processor", 0.5},
                                                  {"memory", 1},
                                                  {"disk read", 1},
                                                  {"disk write", 1},
                                                  {"network in", 1},
                                                  {"network out", 1},
                                                  {"processes", 2},
                                                  {"temperature", 5}}};

constexpr const GaugeKind& kindOf(Gauge gauge) {
  return KINDS[static_cast<std::size_t>(gauge)];
}

constexpr char HEARTBEAT[] = "heartbeat";

// Writes what is broadcast to the log, on the broadcaster's queue.
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

LocalSource::LocalSource(const std::string& root)
    : m_isOfMachine(root.empty()),
      m_processor(root),
      m_memory(root),
      m_disk(root),
      m_network(root),
      m_processes(root),
      m_temperature(root),
      m_heartbeatLog(std::make_shared<HeartbeatLog>()) {
  for (std::size_t i = 0; i < GAUGES; ++i)
    AddListener(KINDS[i].key, m_histories[i] = std::make_shared<History>(KINDS[i].interval));
  AddListener(HEARTBEAT, m_heartbeatLog);
  startReaders();
  // A program without an identifier, such as a copy in another folder, has no log.
  if (Bundle::mainBundle()->identifier()) m_repeaters.start("log heartbeat", 10, [this] { announceHeartbeat(); });
}

LocalSource::~LocalSource() {
  for (std::size_t i = 0; i < GAUGES; ++i) RemoveListener(KINDS[i].key, m_histories[i]);
  RemoveListener(HEARTBEAT, m_heartbeatLog);
}

void LocalSource::startReaders() {
  m_repeaters.start("processor load", kindOf(Gauge::PROCESSOR).interval, [this] {
    m_readings.processor = m_processor.read();
    announce(Gauge::PROCESSOR, m_readings.processor);
  });
  m_repeaters.start("memory", kindOf(Gauge::MEMORY).interval, [this] {
    const auto memory = m_readings.memory = m_memory.read();
    announce(Gauge::MEMORY, memory ? std::optional(static_cast<double>(memory->used)) : std::nullopt);
  });
  m_repeaters.start("disk throughput", kindOf(Gauge::DISK_READ).interval, [this] {
    m_readings.disk = m_disk.read(std::chrono::steady_clock::now());
    announceBoth(Gauge::DISK_READ, Gauge::DISK_WRITE, m_readings.disk);
  });
  m_repeaters.start("network throughput", kindOf(Gauge::NETWORK_IN).interval, [this] {
    m_readings.network = m_network.read(std::chrono::steady_clock::now());
    announceBoth(Gauge::NETWORK_IN, Gauge::NETWORK_OUT, m_readings.network);
  });
  m_repeaters.start("processes", kindOf(Gauge::PROCESSES).interval, [this] {
    const auto processes = m_readings.processes = m_processes.read();
    announce(Gauge::PROCESSES, processes ? std::optional(static_cast<double>(*processes)) : std::nullopt);
  });
  if (!m_temperature.read().empty()) {
    m_repeaters.start("temperature", kindOf(Gauge::TEMPERATURE).interval, [this] {
      m_readings.temperatures = m_temperature.read();
      announce(Gauge::TEMPERATURE, m_readings.hottest());
    });
  }
}

std::string LocalSource::host() const {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : std::string();
}

LogFigures LocalSource::log() const {
  LogFigures figures{Logger::instance()->path().value_or(std::string()), std::nullopt, 0, 0};
  if (figures.path.empty()) return figures;
  std::error_code error;
  if (const auto size = std::filesystem::file_size(figures.path, error); !error) figures.size = size;
  for (std::int64_t number = 0; number <= Logger::MAX_LOGS; ++number)
    if (std::filesystem::exists(figures.path + "." + std::to_string(number), error)) ++figures.archives;
  figures.lines = Logger::instance()->lines();
  return figures;
}

std::optional<std::string> LocalSource::logTail(std::size_t limit) const {
  const auto path = Logger::instance()->path();
  return path ? readTail(*path, limit) : std::nullopt;
}

std::shared_ptr<void> LocalSource::followProcesses(bool figures, ProcessTaker taker) {
  using Rows = Result<std::vector<ProcessRow>>;
  if (m_isOfMachine) {
    struct Readers {
      ProcessSampler sampler;
      std::optional<FigureReader> figures = {};
    };
    const auto readers = std::make_shared<std::optional<Readers>>();  // made and used on the queue
    const auto sample = [readers, figures]() -> Rows {
      if (!*readers) {
        readers->emplace();
        if (figures) (*readers)->figures.emplace();
      }
      auto rows = (*readers)->sampler.sample();
      if (rows && figures)
        if (const auto added = (*readers)->figures->addTo(*rows); !added) return tl::unexpected(added.error());
      return rows;
    };
    return std::make_shared<Feed<Rows>>("process page", sample, std::move(taker));
  }
  taker(failure("inspector", 0, "Only the machine's own processes can be shown."));
  return nullptr;
}

std::shared_ptr<void> LocalSource::followProcess(pid_t pid, ProcessTaker taker) {
  if (!m_isOfMachine) return followProcesses(false, std::move(taker));  // tells why not
  using Rows = Result<std::vector<ProcessRow>>;
  const auto sampler = std::make_shared<std::optional<ProcessSampler>>();  // made and used on the queue
  const auto sample = [sampler, pid]() -> Rows {
    if (!*sampler) sampler->emplace();
    auto rows = (*sampler)->sample(ProcessSampler::Clock::now(), pid);
    if (!rows || rows->empty()) return rows;
    if (const auto files = platform().processTable().descriptors(pid)) rows->front().files = *files;
    return rows;
  };
  return std::make_shared<Feed<Rows>>("details of " + std::to_string(pid), sample, std::move(taker));
}

std::shared_ptr<void> LocalSource::followAssertions(AssertionTaker taker) {
  using Records = Result<std::vector<AssertionRecord>>;
  if (m_isOfMachine) return std::make_shared<Feed<Records>>("power page", readAssertions, std::move(taker));
  taker(failure("inspector", 0, "Only the machine itself can be asked what keeps it awake."));
  return nullptr;
}

std::shared_ptr<void> LocalSource::followDisks(DiskTaker taker) {
  using Rows = Result<std::vector<DiskRow>>;
  if (m_isOfMachine) return std::make_shared<Feed<Rows>>("disk page", readDisks, std::move(taker));
  taker(failure("inspector", 0, "Only the machine's own disks can be shown."));
  return nullptr;
}

std::shared_ptr<void> LocalSource::request(const DiskRequest& request, OutcomeTaker taker) {
  const auto wanted = std::make_shared<OutcomeTaker>(std::move(taker));
  const auto pass = [weak = std::weak_ptr(wanted)](const DiskOutcome& outcome) {
    main_post([weak, outcome] {
      if (const auto take = weak.lock()) (*take)(outcome);
    });
  };
  if (!m_diskRequests.async([request, pass] { pass(perform(request)); }))
    pass({.done = false, .detail = "The system refuses a thread"});
  return wanted;
}

Result<void> LocalSource::signal(pid_t pid, std::int64_t started, int number) {
  return sendSignal(pid, started, number);
}

void LocalSource::announce(Gauge gauge, std::optional<double> value) {
  Broadcast(kindOf(gauge).key, value);
}

void LocalSource::announceBoth(Gauge in, Gauge out, const std::optional<Throughput>& throughput) {
  announce(in, throughput ? std::optional(throughput->in) : std::nullopt);
  announce(out, throughput ? std::optional(throughput->out) : std::nullopt);
}

void LocalSource::announceHeartbeat() const {
  std::string line = "running for " + m_started.hhmmss();
  if (m_readings.processor) line += ", processor load " + decimal(*m_readings.processor, 1) + " %";
  if (m_readings.processes) line += ", " + std::to_string(*m_readings.processes) + " processes";
  Broadcast(HEARTBEAT, line, true);
}

}  // namespace corvane::inspector
