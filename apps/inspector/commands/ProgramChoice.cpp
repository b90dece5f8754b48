#include "apps/inspector/commands/ProgramChoice.h"

#include <csignal>
#include <utility>
#include <vector>

#include "apps/common/Output.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProgramText.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

tl::expected<ProgramIdentity, std::string> chooseProgram(std::string_view text) {
  const Glyphs& glyphs = Glyphs::ofLocale();
  const auto programs = ProgramList(platform().diagnosticsPort()).read();
  if (!programs) return tl::unexpected(printable(programs.error().description, glyphs));
  const auto found = programsNamed(*programs, text);
  if (found.size() == 1) return found.front();
  std::string lines;
  if (found.size() > 1) {
    for (const ProgramIdentity& program : found) lines += "\n  " + programLine(program, glyphs);
    return tl::unexpected(printable(text, glyphs) + ": several applications, choose one by its process id:" + lines);
  }
  for (const RunningProgram& program : *programs) {
    if (program.identity) lines += "\n  " + programLine(*program.identity, glyphs);
    if (!program.identity && std::to_string(program.pid) == text)
      return tl::unexpected(printable(text, glyphs) + ": " + printable(program.identity.error().description, glyphs));
  }
  return tl::unexpected(printable(text, glyphs) + ": no such application can be looked at" +
                        (lines.empty() ? "; none runs that can" : "; these can:" + lines));
}

}  // namespace

tl::expected<void, std::string> takeProgram(std::string_view operand, std::string& program) {
  if (!program.empty()) return tl::unexpected(std::string(operand) + ": there is one application already");
  program = operand;
  return {};
}

int withProgram(std::string_view text, const std::function<int(const ProgramIdentity&)>& run) {
  const auto program = chooseProgram(text);
  if (!program) return fail(program.error());
  std::signal(SIGPIPE, SIG_IGN);
  return run(*program);
}

WatchedProgram::WatchedProgram(ProgramIdentity program)
    : m_link(std::make_shared<ProgramLink>(platform().diagnosticsPort(), std::move(program))) {}

void WatchedProgram::tell() {
  const Presence before = std::exchange(m_presence, m_link->presence());
  if (m_presence == before) return;
  const std::string name = printable(m_link->identity().name, Glyphs::ofLocale());
  report(m_presence == Presence::HERE ? name + " is there: process " + std::to_string(m_link->identity().pid)
                                      : absenceOf(name, m_presence));
}

}  // namespace corvane::inspector
