#include "corvane/linux/process/ProcessStart.h"

#include <fstream>
#include <iterator>
#include <string>

#include "corvane/linux/process/ProcessText.h"

namespace corvane {

std::optional<std::uint64_t> processStart(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  const std::string text(std::istreambuf_iterator<char>(file), {});
  ProcessInfo info;
  if (!readProcessStat(text, {.tickNsec = 1}, info)) return std::nullopt;
  return info.started;
}

}  // namespace corvane
