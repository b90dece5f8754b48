#pragma once

#include <memory>
#include <string>
#include <vector>

#include "apps/inspector/model/LocalMachine.h"
#include "apps/inspector/model/ProgramSource.h"
#include "apps/inspector/model/Repeaters.h"

namespace corvane::inspector {

/// This program on its machine. From time to time a line about the readings is broadcast asynchronously under
/// "heartbeat", for the log.
class LocalSource : public ProgramSource {
 public:
  /// For `root` see LocalMachine.
  explicit LocalSource(const std::string& root);
  ~LocalSource() override;
  LocalSource(const LocalSource&) = delete;
  LocalSource& operator=(const LocalSource&) = delete;

  Machine& machine() override { return m_machine; }
  std::string name() const override { return {}; }
  ProgramIdentity identity() const override;
  Presence presence() const override { return Presence::HERE; }
  Timeval started() const override { return m_started; }
  std::string settingsDomain() const override;
  Repeaters& repeaters() override { return m_repeaters; }
  std::vector<broadcaster_stats> listeners() const override { return broadcasterStats(); }
  LogFigures log() const override;

 private:
  void announceHeartbeat() const;

  const std::shared_ptr<Listener> m_heartbeatLog;
  const Timeval m_started;
  Repeaters m_repeaters;  // runs nothing after the machine has gone, because all of it is on the main queue
  LocalMachine m_machine;
};

}  // namespace corvane::inspector
