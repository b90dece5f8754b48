#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "apps/inspector/model/ProgramList.h"
#include "apps/inspector/model/Source.h"
#include "corvane/platform/DiagnosticsPort.h"

namespace corvane::inspector {

/// The connection to a program, which is made again for its next run: that of a program with the same identifier or, if
/// it has none, of the same executable. On one thread at a time; its calls may wait as those of Inspectable do.
class ProgramLink {
 public:
  /// To this very process, or whatever else does not end.
  explicit ProgramLink(std::shared_ptr<Inspectable> program) : m_program(std::move(program)) {}

  /// To another one, with which it connects when it is first asked. The port must outlive the link.
  ProgramLink(DiagnosticsPort& port, ProgramIdentity program)
      : m_port(&port), m_list(std::make_unique<ProgramList>(port)), m_identity(std::move(program)) {}

  /// What the program answers to a call, or why it cannot be asked.
  template <class Call>
  std::invoke_result_t<Call, Inspectable&> ask(Call&& call) {
    auto program = connect();
    if (!program) return tl::unexpected(program.error());
    auto answer = call(**program);
    if (!answer && isGone(answer.error())) {
      if (program = reconnect(); !program) return tl::unexpected(program.error());
      answer = call(**program);
    }
    note(answer ? nullptr : &answer.error());
    return answer;
  }

  /// A recording of the program's activity, through its runs.
  struct Watch {
    std::uint64_t connection = 0;
    std::shared_ptr<void> held = {};
  };
  /// Begins it, or begins it again if the program has been started again.
  Result<void> keep(Watch& watch);

  /// Finds out whether the program is there, without disturbing it if it is.
  void look();

  Presence presence() const { return m_presence; }
  /// Of the current run, or of the latest one.
  const ProgramIdentity& identity() const { return m_identity; }
  /// Counts the connections.
  std::uint64_t connection() const { return m_connection; }

 private:
  static bool isGone(const Error& error);
  Result<std::shared_ptr<Inspectable>> connect();
  Result<std::shared_ptr<Inspectable>> reconnect();
  Result<std::shared_ptr<Inspectable>> connectTo(const ProgramIdentity& program);
  void note(const Error* error);

  DiagnosticsPort* m_port = nullptr;
  std::unique_ptr<ProgramList> m_list;
  std::shared_ptr<Inspectable> m_program;  // null while there is no connection
  ProgramIdentity m_identity;
  bool m_isNew = true;  // it has not tried to connect
  Presence m_presence = Presence::SILENT;
  std::uint64_t m_connection = 0;
};

/// Asks for the long spans of the main thread since its last call, and for those that go on.
class LongSpanReader {
 public:
  LongSpanReader(std::shared_ptr<ProgramLink> link, std::int64_t nsec) : m_link(std::move(link)), m_nsec(nsec) {}

  Result<LongSpans> operator()();

 private:
  std::shared_ptr<ProgramLink> m_link;
  std::int64_t m_nsec;
  ProgramLink::Watch m_watch;
  std::uint64_t m_connection = 0;
  std::uint64_t m_next = 0;
};

}  // namespace corvane::inspector
