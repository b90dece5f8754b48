#include "corvane/testing/FakeChildProcesses.h"

#include <fcntl.h>
#include <unistd.h>

#include "corvane/core/Files.h"

namespace corvane {

namespace {

// A child that has already ended.
class EndedChild : public ChildProcess {
 public:
  explicit EndedChild(std::int32_t status) : m_status(status) {}

  pid_t number() const override { return NOBODY; }
  int descriptor() const override { return m_ended.get(); }
  bool exists() const override { return false; }
  void wait() const override {}
  std::optional<ChildExit> take() override { return ChildExit{.status = m_status}; }

 private:
  static constexpr pid_t NOBODY = 0x7FFFFFFE;  // no process has this id

  const std::int32_t m_status;
  const FileDescriptor m_ended{::open("/dev/null", O_RDONLY | O_CLOEXEC)};  // always readable
};

}  // namespace

std::vector<std::vector<std::string>> FakeChildProcesses::started() const {
  MutexLock lock(m_mutex);
  return m_started;
}

Result<std::array<int, 2>> FakeChildProcesses::pipe() {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return systemFailure(errno);
  return ends;
}

Result<std::unique_ptr<ChildProcess>> FakeChildProcesses::spawn(const ChildSettings& settings) {
  const auto found = programs.find(settings.executable);
  if (found == programs.end()) return systemFailure(ENOENT);
  const Program& program = found->second;
  if (program.error) return tl::unexpected<Error>(*program.error);
  {
    MutexLock lock(m_mutex);
    m_started.push_back(settings.arguments);
  }
  const int output = settings.streams[STDOUT_FILENO];
  if (!writeAll(output < 0 ? STDOUT_FILENO : output, program.output)) return systemFailure(errno);
  return std::make_unique<EndedChild>(program.status);
}

}  // namespace corvane
