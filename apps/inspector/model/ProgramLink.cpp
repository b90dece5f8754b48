#include "apps/inspector/model/ProgramLink.h"

#include <cerrno>

namespace corvane::inspector {

bool ProgramLink::isGone(const Error& error) {
  return error.domain == "posix" && error.code == ENOTCONN;
}

Result<std::shared_ptr<Inspectable>> ProgramLink::connect() {
  if (m_program) return m_program;
  return std::exchange(m_isNew, false) && m_port ? connectTo(m_identity) : reconnect();
}

Result<std::shared_ptr<Inspectable>> ProgramLink::reconnect() {
  m_program.reset();
  if (const auto next = m_list ? m_list->runAfter(m_identity) : std::nullopt) return connectTo(*next);
  const bool isThere = m_list && m_list->has(m_identity.pid);
  m_presence = isThere ? Presence::SILENT : Presence::ENDED;
  return failure("posix", ENOTCONN, isThere ? "The program does not answer" : "The program has ended");
}

Result<std::shared_ptr<Inspectable>> ProgramLink::connectTo(const ProgramIdentity& program) {
  auto connected = m_port->connect(program.pid);
  m_presence = connected ? Presence::HERE : connected.error().code == ENOENT ? Presence::ENDED : Presence::SILENT;
  if (!connected) return connected;
  ++m_connection;
  m_program = *connected;
  m_identity = m_program->identity().value_or(program);  // what it allows may be new
  return connected;
}

void ProgramLink::note(const Error* error) {
  const auto isAnswer = [](int code) { return code == EPERM || code == ENOENT || code == EINVAL; };
  const bool isAnswered = !error || (error->domain == "posix" && isAnswer(error->code));
  m_presence = isAnswered ? Presence::HERE : Presence::SILENT;
}

Result<void> ProgramLink::keep(Watch& watch) {
  if (m_program && watch.held && watch.connection == m_connection) return {};
  return ask([&](Inspectable& program) -> Result<void> {
    auto held = program.watch();
    if (!held) return tl::unexpected(held.error());
    watch = {m_connection, std::move(*held)};
    return {};
  });
}

void ProgramLink::look() {
  if (m_program && m_list && !m_list->has(m_identity.pid)) m_program.reset();
  (void)connect();
}

Result<LongSpans> LongSpanReader::operator()() {
  if (const auto watched = m_link->keep(m_watch); !watched) return tl::unexpected(watched.error());
  return m_link->ask([this](Inspectable& program) {
    if (std::exchange(m_connection, m_link->connection()) != m_link->connection()) m_next = 0;
    auto spans = program.longSpans(m_next, m_nsec);
    if (spans) m_next = spans->next;
    return spans;
  });
}

}  // namespace corvane::inspector
