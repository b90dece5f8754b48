#include "apps/inspector/text/Candidates.h"

#include <pwd.h>

#include <array>
#include <filesystem>

#include "apps/inspector/model/Disks.h"
#include "apps/inspector/model/ProgramList.h"
#include "apps/inspector/text/ProcessColumn.h"
#include "apps/inspector/text/ViewSettings.h"
#include "corvane/infra/Logger.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

using Candidates = std::vector<Candidate>;

Candidates disks(const Arguments&) {
  Candidates candidates;
  for (const DiskRow& row : readDisks()) candidates.push_back({row.name, row.label.empty() ? row.content : row.label});
  return candidates;
}

Candidates logs(const Arguments&) {
  Candidates candidates;
  const auto library = platform().folders().library();
  if (!library) return candidates;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(*library + "/Logs", error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string identifier = entry->path().filename();
    std::error_code ignored;
    if (const auto log = Logger::path(identifier); log && std::filesystem::exists(*log, ignored))
      candidates.push_back({identifier});
  }
  return candidates;
}

Candidates users(const Arguments&) {
  Candidates candidates;
  setpwent();
  while (const passwd* user = getpwent()) candidates.push_back({user->pw_name});
  endpwent();
  return candidates;
}

Candidates columns(const Arguments&) {
  Candidates candidates;
  for (const ProcessColumnStyle& style : PROCESS_COLUMNS) candidates.push_back({std::string(style.word)});
  return candidates;
}

Candidates settings(const Arguments& operands) {
  Candidates candidates;
  if (operands.empty())
    for (const ViewSetting& setting : VIEW_SETTINGS) candidates.push_back({std::string(setting.key)});
  return candidates;
}

Candidates assertions(const Arguments&) {
  return {{"display", "the display stays on"},
          {"idle", "the system does not sleep of its own accord"},
          {"sleep", "nor if somebody asks it to"}};
}

Candidates deviceClasses(const Arguments&) {
  return {{"IOMedia", "disks and partitions"},
          {"IODisplayConnect", "displays"},
          {"block"},
          {"disk"},
          {"net"},
          {"usb"},
          {"usb_device"}};
}

constexpr std::array VALUES = {Values{"NAME|PID", programCandidates},
                               Values{"NAME", disks},
                               Values{"IDENTIFIER", logs},
                               Values{"USER", users},
                               Values{"COLUMN", columns},
                               Values{"KEY", settings},
                               Values{"TYPE", assertions},
                               Values{"CLASS", deviceClasses}};

}  // namespace

std::vector<Candidate> programCandidates(const Arguments&) {
  Candidates candidates;
  if (const auto programs = ProgramList(platform().diagnosticsPort()).read())
    for (const RunningProgram& program : *programs)
      if (program.identity) candidates.push_back({program.identity->name, program.identity->executable});
  return candidates;
}

std::span<const Values> commandValues() {
  return VALUES;
}

}  // namespace corvane::inspector
