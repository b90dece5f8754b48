#include "corvane/platform/ChildProcesses.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

#include "corvane/linux/process/ProcessDescriptor.h"

namespace corvane {

namespace {

// Moves a descriptor above 0, 1 and 2, which the process may have closed: there the child's streams would collide, and
// the process would print into the child. Empty, with errno, on failure.
FileDescriptor aboveStandard(FileDescriptor descriptor) {
  if (descriptor.get() < 0 || descriptor.get() > STDERR_FILENO) return descriptor;
  return FileDescriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

struct SpawnOptions {
  SpawnOptions() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  ~SpawnOptions() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }
  SpawnOptions(const SpawnOptions&) = delete;
  SpawnOptions& operator=(const SpawnOptions&) = delete;

  // 0, or an errno code.
  int set(const ChildSettings& settings) {
    int code = 0;
    const auto step = [&code](int result) { code = code != 0 ? code : result; };
    for (int i = 0; i < 3; ++i)
      if (const int end = settings.streams[static_cast<std::size_t>(i)]; end >= 0)
        step(posix_spawn_file_actions_adddup2(&actions, end, i));
    step(posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1));
    if (!settings.folder.empty()) step(posix_spawn_file_actions_addchdir_np(&actions, settings.folder.c_str()));
    sigset_t signals;
    sigemptyset(&signals);
    step(posix_spawnattr_setsigmask(&attributes, &signals));
    sigfillset(&signals);
    step(posix_spawnattr_setsigdefault(&attributes, &signals));
    step(posix_spawnattr_setpgroup(&attributes, 0));
    const int group = settings.sharesGroup ? 0 : POSIX_SPAWN_SETPGROUP;
    step(posix_spawnattr_setflags(&attributes,
                                  static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | group)));
    return code;
  }

  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
};

// The list of texts for exec, which does not change them.
std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

class LinuxChild : public ChildProcess {
 public:
  explicit LinuxChild(pid_t number) : m_number(number), m_process(aboveStandard(openProcess(number))) {}

  pid_t number() const override { return m_number; }
  int descriptor() const override { return m_process.get(); }

  bool exists() const override {
    siginfo_t info{};
    return waitFor(WNOHANG | WNOWAIT, info, nullptr);
  }

  void wait() const override {
    siginfo_t info{};
    waitFor(WNOWAIT, info, nullptr);
  }

  std::optional<ChildExit> take() override {
    siginfo_t info{};
    ChildExit exit;
    if (!waitFor(0, info, &exit.usage)) return std::nullopt;
    exit.status = info.si_status;
    exit.killed = info.si_code != CLD_EXITED;
    return exit;
  }

 private:
  // waitid(2) on the descriptor, or on the process id if there was no descriptor left; with the resources used by the
  // child, which the C library's function does not return.
  bool waitFor(int options, siginfo_t& info, rusage* usage) const {
    const int process = m_process.get();
    return uninterrupted([&] {
             return ::syscall(SYS_waitid, process < 0 ? P_PID : P_PIDFD, process < 0 ? m_number : process, &info,
                              WEXITED | options, usage);
           }) == 0;
  }

  const pid_t m_number;
  const FileDescriptor m_process;
};

class LinuxChildProcesses : public ChildProcesses {
 public:
  Result<std::array<int, 2>> pipe() override {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return systemFailure(errno);
    FileDescriptor write(ends[1]);
    FileDescriptor read = aboveStandard(FileDescriptor(ends[0]));
    if (read.get() >= 0) write = aboveStandard(std::move(write));
    if (read.get() < 0 || write.get() < 0) return systemFailure(errno);
    return std::array{read.release(), write.release()};
  }

  Result<std::unique_ptr<ChildProcess>> spawn(const ChildSettings& settings) override {
    SpawnOptions options;
    pid_t number = 0;
    int code = options.set(settings);
    if (code == 0)
      code = ::posix_spawn(&number, settings.executable.c_str(), &options.actions, &options.attributes,
                           pointers(settings.arguments).data(),
                           settings.environment ? pointers(*settings.environment).data() : environ);
    if (code != 0) return systemFailure(code);
    return std::make_unique<LinuxChild>(number);
  }
};

}  // namespace

template <>
std::shared_ptr<ChildProcesses> makeService<ChildProcesses>() {
  return std::make_shared<LinuxChildProcesses>();
}

}  // namespace corvane
