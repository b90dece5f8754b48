#include "apps/inspector/model/LocalSource.h"

#include "corvane/core/Text.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Diagnostics.h"
#include "corvane/infra/Logger.h"
#include "corvane/infra/settings/UserDefaults.h"

namespace corvane::inspector {

namespace {

constexpr char HEARTBEAT[] = "heartbeat";

// Writes what is broadcast to the log, on the broadcaster's queue.
class HeartbeatLog : public Listener {
  void onBroadcast(const std::string& key, const std::any& object) override {
    Logger::instance()->log(key + ": " + std::any_cast<const std::string&>(object));
  }
};

}  // namespace

LocalSource::LocalSource(const std::string& root)
    : ProgramSource(std::make_shared<ProgramLink>(Diagnostics::program())),
      m_heartbeatLog(std::make_shared<HeartbeatLog>()),
      m_machine(root, m_repeaters) {
  AddListener(HEARTBEAT, m_heartbeatLog);
  // A program without an identifier, such as a copy in another folder, has no log.
  if (Bundle::mainBundle()->identifier()) m_repeaters.start("log heartbeat", 10, [this] { announceHeartbeat(); });
}

LocalSource::~LocalSource() {
  RemoveListener(HEARTBEAT, m_heartbeatLog);
}

ProgramIdentity LocalSource::identity() const {
  return Diagnostics::program()->identity().value_or(ProgramIdentity());
}

std::string LocalSource::settingsDomain() const {
  return UserDefaults::shared()->domain();
}

LogFigures LocalSource::log() const {
  return figuresOf(*Diagnostics::program()->log({}, 0));
}

void LocalSource::announceHeartbeat() const {
  const Readings& readings = m_machine.readings();
  std::string line = "running for " + m_started.hhmmss();
  if (readings.processor) line += ", processor load " + decimal(*readings.processor, 1) + " %";
  if (readings.processes) line += ", " + std::to_string(*readings.processes) + " processes";
  Broadcast(HEARTBEAT, line, true);
}

}  // namespace corvane::inspector
