#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/Feed.h"
#include "apps/inspector/model/ProgramSource.h"

namespace corvane::inspector {

/// A repeater's state in the units for display.
RepeaterRow rowOf(std::string name, const RepeaterState& state);

/// Another program on this machine. It is asked once a second for what was read since it was asked last; so what is
/// read for the first time comes a little later. When it has ended, the latest figures stay until it runs again.
class AttachedSource : public ProgramSource, private RepeaterSource {
 public:
  /// `changed` is called when there is something new to read. Machine and port must outlive the source.
  AttachedSource(Machine& machine, DiagnosticsPort& port, ProgramIdentity program, std::function<void()> changed);

  Machine& machine() override { return m_machine; }
  std::string name() const override { return m_identity.name; }
  ProgramIdentity identity() const override { return m_identity; }
  Presence presence() const override { return m_presence; }
  Timeval started() const override { return Timeval::nsec(m_identity.started); }
  std::string settingsDomain() const override { return domainOf(m_identity); }
  RepeaterSource& repeaters() override { return *this; }
  std::vector<broadcaster_stats> listeners() const override;
  LogFigures log() const override;

 private:
  // What is asked for.
  enum Part : unsigned { REPEATERS = 1, LISTENERS = 2, LOG = 4 };

  struct Figures {
    Presence presence = Presence::SILENT;
    ProgramIdentity identity;
    std::optional<std::vector<RepeaterState>> repeaters;
    std::optional<std::vector<ListenerState>> listeners;
    std::optional<LogState> log;
  };

  static Figures ask(ProgramLink& link, unsigned parts);
  void want(Part part) const;
  void take(Figures figures);
  void control(std::function<Result<void>(Inspectable&)> call);

  std::vector<RepeaterRow> rows() const override;
  bool allowsControl() const override { return m_identity.allowsControl; }
  void togglePause(std::string_view name) override;
  void resetStats() override;
  int timeConstant() const override { return m_timeConstant; }
  void setTimeConstant(int seconds) override;

  Machine& m_machine;
  const std::function<void()> m_changed;
  Presence m_presence = Presence::SILENT;
  ProgramIdentity m_identity;
  std::map<std::string, RepeaterState, std::less<>> m_repeaters;  // by their unique names
  std::vector<broadcaster_stats> m_listeners;
  LogFigures m_log;
  int m_timeConstant = 10;
  mutable unsigned m_known = 0;  // the parts that have been asked for before
  const std::shared_ptr<std::atomic<unsigned>> m_wanted = std::make_shared<std::atomic<unsigned>>(0);
  mutable Feed<Figures> m_feed;
};

}  // namespace corvane::inspector
