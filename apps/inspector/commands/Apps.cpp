#include "apps/inspector/commands/Apps.h"

#include <csignal>
#include <string>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/model/ProgramList.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProgramText.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

int apps(const Arguments& arguments) {
  bool json = false;
  for (OptionReader option(arguments); option.next();) {
    if (option.name() != "--json") return failUsage(option.unknown().value());
    if (const auto none = option.noValue(); !none) return failUsage(none.error());
    json = true;
  }
  std::signal(SIGPIPE, SIG_IGN);
  const Glyphs& glyphs = Glyphs::ofLocale();
  const auto programs = ProgramList(platform().diagnosticsPort()).read();
  if (!programs) return fail("apps: " + printable(programs.error().description, glyphs));
  std::string text;
  if (json)
    for (const RunningProgram& program : *programs) text += programObject(program) + "\n";
  else if (!programs->empty())
    text = programTable(*programs, glyphs, terminalWidth());
  return statusAfterOutput(writeOut(text));
}

}  // namespace corvane::inspector
