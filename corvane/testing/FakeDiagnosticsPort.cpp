#include "corvane/testing/FakeDiagnosticsPort.h"

#include <errno.h>

#include "corvane/core/Text.h"

namespace corvane {

Result<std::shared_ptr<void>> FakeProgram::watch() {
  ++watches;
  return std::shared_ptr<void>(this, [](void* program) { --static_cast<FakeProgram*>(program)->watches; });
}

Result<void> FakeProgram::resetStats() {
  calls.emplace_back("resetStats");
  return control;
}

Result<void> FakeProgram::setTimeConstant(double seconds) {
  calls.push_back("setTimeConstant " + decimal(seconds, 2));
  return control;
}

Result<void> FakeProgram::setPaused(std::uint64_t id, bool paused) {
  calls.push_back("setPaused " + std::to_string(id) + (paused ? " true" : " false"));
  return control;
}

std::shared_ptr<Inspectable> FakeDiagnosticsPort::opened() const {
  MutexLock lock(m_mutex);
  const auto opened = m_opened.lock();
  return opened ? *opened : nullptr;
}

Result<std::shared_ptr<void>> FakeDiagnosticsPort::open(std::shared_ptr<Inspectable> program) {
  if (error) return tl::unexpected<Error>(*error);
  auto opened = std::make_shared<std::shared_ptr<Inspectable>>(std::move(program));
  MutexLock lock(m_mutex);
  m_opened = opened;
  return opened;
}

Result<std::vector<std::int32_t>> FakeDiagnosticsPort::programs() {
  if (error) return tl::unexpected<Error>(*error);
  std::vector<std::int32_t> pids;
  for (const auto& [pid, program] : others) pids.push_back(pid);
  return pids;
}

Result<std::shared_ptr<Inspectable>> FakeDiagnosticsPort::connect(std::int32_t pid) {
  if (error) return tl::unexpected<Error>(*error);
  const auto found = others.find(pid);
  if (found == others.end()) return failure("posix", ENOENT, "No such program");
  return found->second;
}

}  // namespace corvane
