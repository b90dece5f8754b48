#include "apps/inspector/model/ProgramList.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>

#include "corvane/core/Clock.h"
#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

constexpr std::int64_t PATIENCE = 1'000'000'000;  // ns

std::string_view fileNameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

// Written on a queue by the one who asks.
struct ProgramList::Answer {
  Mutex mutex;
  std::optional<Result<ProgramIdentity>> identity CORVANE_GUARDED_BY(mutex);
};

Result<std::vector<RunningProgram>> ProgramList::read() {
  const auto pids = m_port.programs();
  if (!pids) return tl::unexpected(pids.error());
  std::erase_if(m_answers, [&](const auto& known) { return !std::ranges::binary_search(*pids, known.first); });
  std::int64_t deadline = 0;
  for (const std::int32_t pid : *pids) {
    if (m_answers.contains(pid)) continue;
    const auto answer = m_answers[pid] = std::make_shared<Answer>();
    DispatchQueueSerial queue("program " + std::to_string(pid), QoS::USER_INITIATED);
    const bool isAsked = queue.async([answer, pid, &port = m_port] {
      const auto program = port.connect(pid);
      auto identity = program ? (*program)->identity() : tl::unexpected(program.error());
      MutexLock lock(answer->mutex);
      answer->identity = std::move(identity);
      answer->mutex.broadcast();
    });
    if (!isAsked) m_answers.erase(pid);
    deadline = Clock::now() + PATIENCE;
  }
  std::vector<RunningProgram> programs;
  std::vector<std::int32_t> failed;
  for (const auto& [pid, answer] : m_answers) {
    MutexLock lock(answer->mutex);
    while (!answer->identity && Clock::now() < deadline)
      answer->mutex.wait(std::max<std::int64_t>(1, (deadline - Clock::now()) / 1000));
    if (!answer->identity) {
      programs.push_back({pid, failure("posix", ETIMEDOUT, "It does not answer")});
      continue;
    }
    programs.push_back({pid, *answer->identity});
    if (!*answer->identity) failed.push_back(pid);
  }
  for (const std::int32_t pid : failed) m_answers.erase(pid);  // to be asked again
  return programs;
}

bool ProgramList::has(std::int32_t pid) const {
  const auto pids = m_port.programs();
  return pids && std::ranges::binary_search(*pids, pid);
}

std::optional<ProgramIdentity> ProgramList::runAfter(const ProgramIdentity& program) {
  const auto programs = read();
  if (!programs) return std::nullopt;
  std::optional<ProgramIdentity> latest;
  for (const RunningProgram& running : *programs) {
    const auto& found = running.identity;
    if (!found || found->started < program.started) continue;
    const bool isSame = program.identifier.empty()
                            ? found->identifier.empty() && found->executable == program.executable
                            : found->identifier == program.identifier;
    if (isSame && (!latest || found->started > latest->started)) latest = *found;
  }
  return latest;
}

std::vector<ProgramIdentity> programsNamed(const std::vector<RunningProgram>& programs, std::string_view text) {
  const std::string wanted = caseFolded(text);
  const auto pid = numberIn<std::int32_t>(text);
  std::vector<ProgramIdentity> found;
  for (const RunningProgram& program : programs) {
    if (!program.identity) continue;
    const ProgramIdentity& identity = *program.identity;
    const bool isNamed = std::ranges::any_of(
        std::array<std::string_view, 3>{identity.name, identity.identifier, fileNameOf(identity.executable)},
        [&](std::string_view name) { return caseFolded(name) == wanted; });
    if (isNamed || pid == program.pid) found.push_back(identity);
  }
  return found;
}

}  // namespace corvane::inspector
