#include "apps/inspector/model/LocalSource.h"

#include <filesystem>
#include <utility>

#include "apps/inspector/model/Feed.h"
#include "apps/inspector/model/FollowedFile.h"
#include "corvane/core/Text.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Logger.h"
#include "corvane/platform/ProgramName.h"

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
    : ProgramSource(std::make_shared<ProgramLink>(nullptr)),
      m_heartbeatLog(std::make_shared<HeartbeatLog>()),
      m_machine(root, m_repeaters) {
  AddListener(HEARTBEAT, m_heartbeatLog);
  // A program without an identifier, such as a copy in another folder, has no log.
  if (Bundle::mainBundle()->identifier()) m_repeaters.start("log heartbeat", 10, [this] { announceHeartbeat(); });
}

LocalSource::~LocalSource() {
  RemoveListener(HEARTBEAT, m_heartbeatLog);
}

std::string LocalSource::settingsDomain() const {
  return Bundle::mainBundle()->identifier().value_or(std::string());
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

std::shared_ptr<void> LocalSource::followLog(std::size_t limit, LogTaker taker) {
  const auto file = std::make_shared<FollowedFile>(log().path);
  const auto read = [file, limit]() -> Result<LogState> {
    if (file->path().empty()) return LogState();
    return file->read(limit).map(
        [&](std::string text) { return LogState{file->path(), {}, 0, 0, std::move(text), {}}; });
  };
  return std::make_shared<Feed<Result<LogState>>>("log page", read, std::move(taker));
}

void LocalSource::announceHeartbeat() const {
  const Readings& readings = m_machine.readings();
  std::string line = "running for " + m_started.hhmmss();
  if (readings.processor) line += ", processor load " + decimal(*readings.processor, 1) + " %";
  if (readings.processes) line += ", " + std::to_string(*readings.processes) + " processes";
  Broadcast(HEARTBEAT, line, true);
}

}  // namespace corvane::inspector
