#include "corvane/system/Task.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

#include "corvane/core/fatal.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

tl::unexpected<Error> systemFailure(int code) {
  return failure("posix", code, std::generic_category().message(code));
}

// Away from 0, 1 and 2, which a process may have closed: there the child's streams would get into each other's way, and
// what the process prints into the child.
Result<FileDescriptor> aboveStandard(int fd) {
  FileDescriptor owned(fd);
  if (fd < 0) return systemFailure(errno);
  if (fd > STDERR_FILENO) return owned;
  FileDescriptor moved(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (moved.get() < 0) return systemFailure(errno);
  return moved;
}

// A pipe: its reading and its writing end.
Result<std::array<FileDescriptor, 2>> makePipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return systemFailure(errno);
  auto first = aboveStandard(ends[0]);
  auto second = aboveStandard(ends[1]);
  if (!first) return tl::unexpected(first.error());
  if (!second) return tl::unexpected(second.error());
  return std::array<FileDescriptor, 2>{std::move(*first), std::move(*second)};
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

  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
};

bool hasZero(const std::string& text) {
  return text.find('\0') != std::string::npos;
}

// The list of texts that exec takes.
std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

void lowerPriority(pid_t process, QoS qos) {
  const int niceness = qos == QoS::BACKGROUND ? 10 : qos == QoS::UTILITY ? 5 : 0;
  const auto id = static_cast<id_t>(process);
  if (niceness > 0 && ::getpriority(PRIO_PROCESS, id) < niceness) ::setpriority(PRIO_PROCESS, id, niceness);
}

// The C library's header for these two is not for C++.
int pidfdOpen(pid_t process) {
  return static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
}

// waitid(2) on the descriptor of a child, or on its number where there was none left for it, with what it used.
bool waitForExit(int process, pid_t number, int options, siginfo_t& info, rusage* usage) {
  return uninterrupted([&] {
           return ::syscall(SYS_waitid, process < 0 ? P_PID : P_PIDFD, process < 0 ? number : process, &info,
                            WEXITED | options, usage);
         }) == 0;
}

// write(2) to a pipe that does not block.
ssize_t writeQuietly(int fd, std::string_view bytes) {
  const WithoutSigpipe guard;
  return uninterrupted([&] { return ::write(fd, bytes.data(), bytes.size()); });
}

// Waits for room as long as somebody reads.
bool writeAllQuietly(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = writeQuietly(fd, bytes);
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd wait{fd, POLLOUT, 0};
      ::poll(&wait, 1, -1);
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

Task::Stream Task::Stream::inherited() {
  return Stream(Kind::INHERITED);
}

Task::Stream Task::Stream::nothing() {
  return Stream(Kind::NOTHING);
}

Task::Stream Task::Stream::file(int descriptor) {
  Stream stream(Kind::FILE);
  stream.m_descriptor = descriptor;
  return stream;
}

Task::Stream Task::Stream::written() {
  return Stream(Kind::WRITTEN);
}

Task::Stream Task::Stream::read(Reader reader) {
  Stream stream(Kind::READ);
  stream.m_reader = std::move(reader);
  return stream;
}

Task::Stream Task::Stream::output() {
  return Stream(Kind::OUTPUT);
}

// The caller's end of a child's standard input. What the child has no room for waits in m_pending, for a queue that may
// block.
class Task::Input : public std::enable_shared_from_this<Input> {
 public:
  explicit Input(FileDescriptor end) : m_end(std::move(end)) {}

  bool write(std::string_view bytes) {
    MutexLock lock(m_mutex);
    if (m_closing) return false;
    while (!m_draining && !bytes.empty()) {
      const ssize_t written = writeQuietly(m_end.get(), bytes);
      if (written < 0 && errno == EAGAIN) break;
      if (written < 0) return fail();
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return bytes.empty() || append(bytes);
  }

  void close() {
    MutexLock lock(m_mutex);
    m_closing = true;
    if (!m_draining) m_end = FileDescriptor();
  }

 private:
  bool fail() CORVANE_REQUIRES(m_mutex) {
    m_closing = true;
    m_pending.clear();
    m_end = FileDescriptor();
    return false;
  }

  bool append(std::string_view bytes) CORVANE_REQUIRES(m_mutex) {
    m_pending.append(bytes);
    if (std::exchange(m_draining, true)) return true;
    if (!m_queue) m_queue = platform().serialQueues().make("org.corvane.task.input", QoS::DEFAULT);
    if (m_queue->async([self = shared_from_this()] { self->drain(); })) return true;
    m_draining = false;
    return fail();
  }

  void drain() {
    MutexLock lock(m_mutex);
    const int end = m_end.get();  // nobody else closes it while this runs
    while (!m_pending.empty()) {
      const std::string batch = std::exchange(m_pending, {});
      lock.unlock();
      const bool written = writeAllQuietly(end, batch);
      lock.lock();
      if (!written) fail();
    }
    m_draining = false;
    if (m_closing) m_end = FileDescriptor();
  }

  Mutex m_mutex;
  FileDescriptor m_end CORVANE_GUARDED_BY(m_mutex);
  std::string m_pending CORVANE_GUARDED_BY(m_mutex);
  bool m_draining CORVANE_GUARDED_BY(m_mutex) = false;
  bool m_closing CORVANE_GUARDED_BY(m_mutex) = false;
  std::unique_ptr<SerialQueue> m_queue CORVANE_GUARDED_BY(m_mutex);  // made when needed
};

// What the task's thread takes care of.
struct Task::Run {
  struct Output {
    FileDescriptor end;  // of the pipe, for reading
    Reader reader;
  };
  std::array<Output, 2> outputs;
  std::shared_ptr<const FileDescriptor> process;
  TerminationHandler terminationHandler;
};

std::shared_ptr<Task> Task::create(Settings settings) {
  return std::shared_ptr<Task>(new Task(std::move(settings)));
}

Task::Task(Settings settings)
    : m_executable(settings.executable),
      m_queue(platform().serialQueues().make("org.corvane.task", settings.qos)),
      m_settings(std::move(settings)) {}

Task::~Task() = default;

Result<void> Task::launch() {
  auto run = begin();
  if (!run) return tl::unexpected(run.error());
  if (!m_queue->async([self = shared_from_this(), run = std::move(*run)] { self->follow(*run); }))
    fatal("Task: the system refuses a thread to follow a child");
  return {};
}

Result<void> Task::run() {
  const auto run = begin();
  if (!run) return tl::unexpected(run.error());
  follow(**run);
  return {};
}

// Starts the child and lets waitUntilExit() know.
Result<std::shared_ptr<Task::Run>> Task::begin() {
  MutexLock lock(m_mutex);
  if (m_state != State::NEW) return failure("task", EALREADY, "The task has been launched before");
  auto run = start();
  // Not the task's any more: the handlers may hold it, and what they hold is to live no longer than they are needed.
  Settings settings = std::exchange(m_settings, {});
  m_state = run ? State::RUNNING : State::FAILED;
  if (run) (*run)->process = m_process;
  m_mutex.broadcast();
  lock.unlock();
  if (run) (*run)->terminationHandler = std::move(settings.terminationHandler);
  return run;
}

Result<std::shared_ptr<Task::Run>> Task::start() {
  auto run = std::make_shared<Run>();
  std::shared_ptr<Input> input;
  std::array<FileDescriptor, 3> ends;  // the child's; none where it inherits
  std::array<Stream*, 3> streams = {&m_settings.input, &m_settings.output, &m_settings.error};
  for (std::size_t i = 0; i < streams.size(); ++i) {
    Stream& stream = *streams[i];
    Result<FileDescriptor> end;
    switch (stream.m_kind) {
      case Stream::Kind::INHERITED:
        break;
      case Stream::Kind::NOTHING:
        end = aboveStandard(uninterrupted([] { return ::open("/dev/null", O_RDWR | O_CLOEXEC); }));
        break;
      case Stream::Kind::FILE:
        end = aboveStandard(::fcntl(stream.m_descriptor, F_DUPFD_CLOEXEC, 0));
        break;
      case Stream::Kind::WRITTEN: {
        if (i != STDIN_FILENO) return failure("task", EINVAL, "Only standard input can be written to");
        auto pipe = makePipe();
        if (!pipe) return tl::unexpected(pipe.error());
        ::fcntl((*pipe)[1].get(), F_SETFL, O_NONBLOCK);
        input = std::make_shared<Input>(std::move((*pipe)[1]));
        end = std::move((*pipe)[0]);
        break;
      }
      case Stream::Kind::READ: {
        if (i == STDIN_FILENO) return failure("task", EINVAL, "Standard input cannot be read from");
        auto pipe = makePipe();
        if (!pipe) return tl::unexpected(pipe.error());
        run->outputs[i - 1] = {std::move((*pipe)[0]), std::move(stream.m_reader)};
        end = std::move((*pipe)[1]);
        break;
      }
      case Stream::Kind::OUTPUT:
        if (i != STDERR_FILENO) return failure("task", EINVAL, "Only standard error can go where the output goes");
        break;
    }
    if (!end) return tl::unexpected(end.error());
    ends[i] = std::move(*end);
  }

  SpawnOptions options;
  int code = 0;
  const auto step = [&code](int result) { code = code != 0 ? code : result; };
  for (int i = 0; i < 3; ++i)
    if (const int end = ends[static_cast<std::size_t>(i)].get(); end >= 0)
      step(posix_spawn_file_actions_adddup2(&options.actions, end, i));
  if (m_settings.error.m_kind == Stream::Kind::OUTPUT)
    step(posix_spawn_file_actions_adddup2(&options.actions, STDOUT_FILENO, STDERR_FILENO));
  step(posix_spawn_file_actions_addclosefrom_np(&options.actions, STDERR_FILENO + 1));
  std::string executable = m_executable;
  if (const std::string& folder = m_settings.folder; !folder.empty()) {
    std::error_code ignored;
    executable = std::filesystem::absolute(executable, ignored);  // the caller's relative paths stay what they are
    step(posix_spawn_file_actions_addchdir_np(&options.actions, folder.c_str()));
  }
  sigset_t signals;
  sigemptyset(&signals);
  step(posix_spawnattr_setsigmask(&options.attributes, &signals));
  sigfillset(&signals);
  step(posix_spawnattr_setsigdefault(&options.attributes, &signals));
  step(posix_spawnattr_setpgroup(&options.attributes, 0));
  const int group = m_settings.sharesGroup ? 0 : POSIX_SPAWN_SETPGROUP;
  step(posix_spawnattr_setflags(&options.attributes,
                                static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | group)));

  std::vector<std::string> arguments = std::move(m_settings.arguments);
  arguments.insert(arguments.begin(), m_executable);
  std::vector<std::string> variables;
  for (const auto& [name, value] : m_settings.environment.value_or(std::map<std::string, std::string>())) {
    if (name.empty() || name.find('=') != std::string::npos) step(EINVAL);
    variables.push_back(name + "=" + value);
  }
  if (std::ranges::any_of(arguments, hasZero) || std::ranges::any_of(variables, hasZero) || hasZero(m_settings.folder))
    step(EINVAL);
  if (code != 0) return systemFailure(code);

  pid_t process = 0;
  code = ::posix_spawn(&process, executable.c_str(), &options.actions, &options.attributes, pointers(arguments).data(),
                       m_settings.environment ? pointers(variables).data() : environ);
  if (code != 0) {
    // The same code may come from the folder.
    if (const std::string& folder = m_settings.folder;
        !folder.empty() && ::faccessat(AT_FDCWD, (folder + "/.").c_str(), X_OK, AT_EACCESS) != 0)
      return fileFailure(folder, errno);
    return systemFailure(code);
  }
  lowerPriority(process, m_settings.qos);
  m_pid = process;
  m_process = std::make_shared<const FileDescriptor>(aboveStandard(pidfdOpen(process)).value_or(FileDescriptor()));
  m_input = std::move(input);
  return run;
}

// Until the child has exited and nobody writes its outputs any more.
void Task::follow(Run& run) {
  std::array<char, 65536> buffer;
  for (;;) {
    std::array<pollfd, 3> waits{};
    waits[2] = {isRunning() ? run.process->get() : -1, POLLIN, 0};
    for (std::size_t i = 0; i < run.outputs.size(); ++i) waits[i] = {run.outputs[i].end.get(), POLLIN, 0};
    if (std::ranges::all_of(waits, [](const pollfd& wait) { return wait.fd < 0; })) break;
    if (::poll(waits.data(), waits.size(), -1) < 0) continue;
    for (std::size_t i = 0; i < run.outputs.size(); ++i) {
      if (waits[i].revents == 0) continue;
      auto& [end, reader] = run.outputs[i];
      const ssize_t count = uninterrupted([&] { return ::read(waits[i].fd, buffer.data(), buffer.size()); });
      if (count <= 0) end = FileDescriptor();
      const std::string_view bytes(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
      if (reader && !m_dropsOutput) callOrFatal([&] { reader(*this, bytes); }, "a reader of a Task");
      if (count <= 0) reader = nullptr;
    }
    if (waits[2].revents != 0) reap();
  }
  waitUntilExit();  // for a child without a descriptor
  closeInput();
  if (run.terminationHandler) callOrFatal([&] { run.terminationHandler(*this); }, "the termination handler of a Task");
}

// Takes the status of the child, which has exited.
void Task::reap() {
  MutexLock lock(m_mutex);
  if (m_state != State::RUNNING) return;
  siginfo_t info{};
  if (waitForExit(m_process->get(), m_pid, 0, info, &m_usage)) {
    m_status = info.si_status;
    if (info.si_code != CLD_EXITED) m_reason = TerminationReason::UNCAUGHT_SIGNAL;
  }
  m_state = State::EXITED;
  m_process.reset();
  m_mutex.broadcast();
}

std::optional<pid_t> Task::processIdentifier() const {
  MutexLock lock(m_mutex);
  return m_pid > 0 ? std::optional(m_pid) : std::nullopt;
}

bool Task::isRunning() const {
  MutexLock lock(m_mutex);
  return m_state == State::RUNNING;
}

void Task::waitUntilExit() {
  MutexLock lock(m_mutex);
  while (m_state == State::NEW) m_mutex.wait();
  if (m_state != State::RUNNING) return;
  const std::shared_ptr<const FileDescriptor> process = m_process;
  const pid_t number = m_pid;
  lock.unlock();
  // Here and not on the task's thread, so that its readers can wait too.
  siginfo_t info{};
  waitForExit(process->get(), number, WNOWAIT, info, nullptr);
  reap();
}

std::optional<std::int32_t> Task::terminationStatus() const {
  MutexLock lock(m_mutex);
  return m_state == State::EXITED ? std::optional(m_status) : std::nullopt;
}

Task::TerminationReason Task::terminationReason() const {
  MutexLock lock(m_mutex);
  return m_reason;
}

rusage Task::resourceUsage() const {
  MutexLock lock(m_mutex);
  return m_usage;
}

void Task::signal(int number) {
  MutexLock lock(m_mutex);
  if (m_state != State::RUNNING) return;
  // The number is the child's as long as the child is not reaped; the application may have done that by mistake.
  siginfo_t info{};
  if (!waitForExit(m_process->get(), m_pid, WNOHANG | WNOWAIT, info, nullptr)) return;
  ::kill(-m_pid, number);
  if (::getpgid(m_pid) != m_pid) ::kill(m_pid, number);  // it has gone to another group, or shares ours
}

void Task::interrupt() {
  signal(SIGINT);
}

void Task::terminate() {
  signal(SIGTERM);
}

void Task::kill() {
  signal(SIGKILL);
}

bool Task::write(std::string_view bytes) {
  MutexLock lock(m_mutex);
  const std::shared_ptr<Input> input = m_input;
  lock.unlock();
  return input && input->write(bytes);
}

void Task::closeInput() {
  MutexLock lock(m_mutex);
  const std::shared_ptr<Input> input = m_input;
  lock.unlock();
  if (input) input->close();
}

void Task::dropOutput() {
  m_dropsOutput = true;
}

}  // namespace corvane
