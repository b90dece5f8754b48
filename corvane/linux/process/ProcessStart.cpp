#include "corvane/linux/process/ProcessStart.h"

#include <fstream>
#include <iterator>
#include <string>

#include "corvane/linux/process/ProcessText.h"

namespace corvane {

namespace {

std::string procFile(pid_t pid, const char* name) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/" + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::optional<std::uint64_t> processStart(pid_t pid) {
  ProcessInfo info;
  if (!readProcessStat(procFile(pid, "stat"), {.tickNsec = 1}, info)) return std::nullopt;
  return info.started;
}

bool runsFor(pid_t pid, uid_t user) {
  const auto details = readProcessStatus(procFile(pid, "status"));
  return details && (details->realUid == user || details->savedUid == user);
}

}  // namespace corvane
