#include "apps/inspector/model/LocalMachine.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "apps/inspector/model/Assertions.h"
#include "apps/inspector/model/Feed.h"
#include "apps/inspector/model/FigureReader.h"
#include "apps/inspector/model/ProcessSample.h"
#include "apps/inspector/model/ProcessSignal.h"
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

}  // namespace

std::optional<double> Readings::hottest() const {
  const auto hottest = std::max_element(temperatures.begin(), temperatures.end(),
                                        [](const auto& a, const auto& b) { return a.celsius < b.celsius; });
  return hottest == temperatures.end() ? std::nullopt : std::optional(hottest->celsius);
}

LocalMachine::LocalMachine(const std::string& root, Repeaters& repeaters)
    : m_isOfMachine(root.empty()),
      m_processor(root),
      m_memory(root),
      m_disk(root),
      m_network(root),
      m_processes(root),
      m_temperature(root) {
  for (std::size_t i = 0; i < GAUGES; ++i)
    AddListener(KINDS[i].key, m_histories[i] = std::make_shared<History>(KINDS[i].interval));
  startReaders(repeaters);
}

LocalMachine::~LocalMachine() {
  for (std::size_t i = 0; i < GAUGES; ++i) RemoveListener(KINDS[i].key, m_histories[i]);
}

void LocalMachine::startReaders(Repeaters& repeaters) {
  repeaters.start("processor load", kindOf(Gauge::PROCESSOR).interval, [this] {
    m_readings.processor = m_processor.read();
    announce(Gauge::PROCESSOR, m_readings.processor);
  });
  repeaters.start("memory", kindOf(Gauge::MEMORY).interval, [this] {
    const auto memory = m_readings.memory = m_memory.read();
    announce(Gauge::MEMORY, memory ? std::optional(static_cast<double>(memory->used)) : std::nullopt);
  });
  repeaters.start("disk throughput", kindOf(Gauge::DISK_READ).interval, [this] {
    m_readings.disk = m_disk.read(std::chrono::steady_clock::now());
    announceBoth(Gauge::DISK_READ, Gauge::DISK_WRITE, m_readings.disk);
  });
  repeaters.start("network throughput", kindOf(Gauge::NETWORK_IN).interval, [this] {
    m_readings.network = m_network.read(std::chrono::steady_clock::now());
    announceBoth(Gauge::NETWORK_IN, Gauge::NETWORK_OUT, m_readings.network);
  });
  repeaters.start("processes", kindOf(Gauge::PROCESSES).interval, [this] {
    const auto processes = m_readings.processes = m_processes.read();
    announce(Gauge::PROCESSES, processes ? std::optional(static_cast<double>(*processes)) : std::nullopt);
  });
  if (!m_temperature.read().empty()) {
    repeaters.start("temperature", kindOf(Gauge::TEMPERATURE).interval, [this] {
      m_readings.temperatures = m_temperature.read();
      announce(Gauge::TEMPERATURE, m_readings.hottest());
    });
  }
}

std::string LocalMachine::host() const {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : std::string();
}

std::shared_ptr<void> LocalMachine::followProcesses(bool figures, ProcessTaker taker) {
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

std::shared_ptr<void> LocalMachine::followProcess(pid_t pid, ProcessTaker taker) {
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

std::shared_ptr<void> LocalMachine::followAssertions(AssertionTaker taker) {
  using Records = Result<std::vector<AssertionRecord>>;
  if (m_isOfMachine) return std::make_shared<Feed<Records>>("power page", readAssertions, std::move(taker));
  taker(failure("inspector", 0, "Only the machine itself can be asked what keeps it awake."));
  return nullptr;
}

std::shared_ptr<void> LocalMachine::followDisks(DiskTaker taker) {
  using Rows = Result<std::vector<DiskRow>>;
  if (m_isOfMachine) return std::make_shared<Feed<Rows>>("disk page", readDisks, std::move(taker));
  taker(failure("inspector", 0, "Only the machine's own disks can be shown."));
  return nullptr;
}

std::shared_ptr<void> LocalMachine::request(const DiskRequest& request, OutcomeTaker taker) {
  return askOnce<DiskOutcome>(m_diskRequests, [request] { return perform(request); }, std::move(taker),
                              {.done = false, .detail = "The system refuses a thread"});
}

Result<void> LocalMachine::signal(pid_t pid, std::int64_t started, int number) {
  return sendSignal(pid, started, number);
}

void LocalMachine::announce(Gauge gauge, std::optional<double> value) {
  Broadcast(kindOf(gauge).key, value);
}

void LocalMachine::announceBoth(Gauge in, Gauge out, const std::optional<Throughput>& throughput) {
  announce(in, throughput ? std::optional(throughput->in) : std::nullopt);
  announce(out, throughput ? std::optional(throughput->out) : std::nullopt);
}

}  // namespace corvane::inspector
