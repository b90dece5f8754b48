#include "corvane/system/PID.h"

#include <sys/resource.h>

#include <array>

#include "corvane/core/Log.h"
#include "corvane/core/Text.h"
#include "corvane/core/fatal.h"
#include "corvane/infra/Bundle.h"
#include "corvane/platform/Platform.h"
#include "corvane/system/procinfo/procinfo.h"

namespace corvane {

namespace {

constexpr std::uint32_t BUFFER_SIZE = 1024;

RunningApplications& applications() {
  return platform().runningApplications();
}

// The result of one of the functions that fill a buffer; empty if it fails.
std::string text(std::int32_t (*tell)(std::int32_t, char*, std::uint32_t), std::int32_t pid) {
  std::array<char, BUFFER_SIZE> buffer{};
  return tell(pid, buffer.data(), BUFFER_SIZE) < 1 ? std::string() : repaired(buffer.data());
}

}  // namespace

int PID::priority() const {
  if (m_pid < 0) fatal("PID.priority: the process id " + std::to_string(m_pid) + " is negative");
  return getpriority(PRIO_PROCESS, static_cast<id_t>(m_pid));
}

std::string PID::path() const {
  return text(procinfo_pidpath, m_pid);
}

std::string PID::name() const {
  std::string name = text(procinfo_pidname, m_pid);
  if (!name.empty()) return name;
  name = path();
  return name.substr(name.rfind('/') + 1);
}

std::vector<std::string> PID::arguments() const {
  auto arguments = platform().processTable().arguments(m_pid).value_or(std::vector<std::string>());
  for (std::string& argument : arguments) argument = repaired(std::move(argument));
  return arguments;
}

std::string PID::commandLine() const {
  std::string text;
  for (const std::string& argument : arguments()) text += argument + " ";
  return std::string(trimmed(text));  // a process that changes its title may leave many empty arguments
}

std::string PID::bundlePath() const {
  const auto location = applications().path(m_pid);
  const auto bundle = location ? Bundle::at(*location) : nullptr;
  return bundle ? bundle->path() : std::string();
}

bool PID::isApplication() const {
  return applications().contains(m_pid).value_or(false);
}

void PID::bringToFront() const {
  if (!isApplication()) return;
  const auto activated = applications().activate(m_pid);
  if (!activated) logNotice("PID.bringToFront: " + activated.error().description);
}

bool PID::isFrontMost() const {
  return applications().isActive(m_pid).value_or(false);
}

}  // namespace corvane
