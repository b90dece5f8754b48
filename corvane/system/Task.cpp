#include "corvane/system/Task.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <latch>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>

#include "corvane/core/fatal.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

using std::chrono::steady_clock;

// A copy of a descriptor, above the standard ones; programs that are started do not inherit it.
Result<FileDescriptor> duplicate(int fd) {
  FileDescriptor copy(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (copy.get() < 0) return systemFailure(errno);
  return copy;
}

struct Pipe {
  FileDescriptor read;
  FileDescriptor write;
};

Result<Pipe> makePipe() {
  return platform().childProcesses().pipe().map([](const std::array<int, 2>& ends) {
    return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
  });
}

bool hasZero(const std::string& text) {
  return text.find('\0') != std::string::npos;
}

// The child's settings, without its streams.
Result<ChildSettings> programOf(Task::Settings& settings) {
  ChildSettings child;
  child.executable = settings.executable;
  child.arguments = std::move(settings.arguments);
  child.arguments.insert(child.arguments.begin(), settings.executable);
  child.folder = settings.folder;
  child.sharesGroup = settings.sharesGroup;
  bool valid = !hasZero(child.folder) && std::ranges::none_of(child.arguments, hasZero);
  if (!child.folder.empty()) {
    std::error_code ignored;
    child.executable = std::filesystem::absolute(child.executable, ignored);  // the caller's relative paths stay
  }
  if (settings.environment) child.environment.emplace();
  for (const auto& [name, value] : settings.environment.value_or(std::map<std::string, std::string>())) {
    const std::string& variable = child.environment->emplace_back(name + "=" + value);
    valid = valid && !name.empty() && name.find('=') == std::string::npos && !hasZero(variable);
  }
  if (!valid) return systemFailure(EINVAL);
  return child;
}

// For poll(): -1 means forever.
int millisecondsUntil(const std::optional<steady_clock::time_point>& end) {
  if (!end) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - steady_clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

void lowerPriority(pid_t process, QoS qos) {
  const int niceness = qos == QoS::BACKGROUND ? 10 : qos == QoS::UTILITY ? 5 : 0;
  const auto id = static_cast<id_t>(process);
  if (niceness > 0 && ::getpriority(PRIO_PROCESS, id) < niceness) ::setpriority(PRIO_PROCESS, id, niceness);
}

// write(2) to a pipe that does not block.
ssize_t writeQuietly(int fd, std::string_view bytes) {
  const WithoutSigpipe guard;
  return uninterrupted([&] { return ::write(fd, bytes.data(), bytes.size()); });
}

// Waits for room for as long as there is a reader.
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

Task::Stream Task::Stream::text(std::string bytes) {
  Stream stream(Kind::TEXT);
  stream.m_text = std::move(bytes);
  return stream;
}

Task::Stream Task::Stream::read(Reader reader) {
  Stream stream(Kind::READ);
  stream.m_reader = std::move(reader);
  return stream;
}

Task::Stream Task::Stream::output() {
  return Stream(Kind::OUTPUT);
}

// The caller's end of a child's standard input. Bytes that do not fit the pipe wait in m_pending, for a queue that may
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
    const int end = m_end.get();  // it is not closed while this runs
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
  std::unique_ptr<SerialQueue> m_queue CORVANE_GUARDED_BY(m_mutex);  // created when needed
};

// The state of the task's thread.
struct Task::Run {
  struct Output {
    FileDescriptor end{};  // of the pipe, for reading
    Reader reader;
  };
  std::array<Output, 2> outputs;
  std::shared_ptr<Input> input;
  std::shared_ptr<ChildProcess> process;
  TerminationHandler terminationHandler;
  std::optional<steady_clock::time_point> end;  // of the time limit
  std::latch begun{1};                          // opened when launch() has started the child, or failed to
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
  const auto run = std::make_shared<Run>();
  // The thread comes first: no child may run without a thread to read its output.
  const bool queued = m_queue->async([self = shared_from_this(), run] {
    run->begun.wait();
    if (run->process) self->follow(*run);
  });
  auto begun = begin(*run, queued);
  run->begun.count_down();
  return begun;
}

Result<void> Task::run() {
  Run run;
  return begin(run, true).map([&] { follow(run); });
}

// Starts the child, if there is a thread to follow it, and notifies waitUntilExit().
Result<void> Task::begin(Run& run, bool hasThread) {
  MutexLock lock(m_mutex);
  if (m_state != State::NEW) return failure("task", EALREADY, "The task has been launched before");
  const auto started = hasThread ? start(run) : systemFailure(EAGAIN);
  // Taken from the task: the handlers may hold the task, and their captures must live no longer than the handlers are
  // needed.
  Settings settings = std::exchange(m_settings, {});
  m_state = started ? State::RUNNING : State::FAILED;
  m_mutex.broadcast();
  lock.unlock();
  if (started) {
    if (settings.limit) run.end = steady_clock::now() + std::chrono::nanoseconds(settings.limit->nsec());
    run.terminationHandler = std::move(settings.terminationHandler);
  } else {  // at once, not when the thread releases it
    run.outputs = {};
    run.input.reset();
  }
  return started;
}

Result<void> Task::start(Run& run) {
  auto child = programOf(m_settings);
  if (!child) return tl::unexpected(child.error());
  std::array<FileDescriptor, 3> ends;  // the child's ends; empty where it inherits
  std::array<Stream*, 3> streams = {&m_settings.input, &m_settings.output, &m_settings.error};
  for (std::size_t i = 0; i < streams.size(); ++i) {
    auto end = open(i, *streams[i], run);
    if (!end) return tl::unexpected(end.error());
    ends[i] = std::move(*end);
    child->streams[i] = ends[i].get();
  }
  if (m_settings.error.m_kind == Stream::Kind::OUTPUT) child->streams[STDERR_FILENO] = STDOUT_FILENO;

  auto spawned = platform().childProcesses().spawn(*child);
  if (!spawned) {
    // The same code may be due to the folder.
    if (const std::string& folder = child->folder;
        !folder.empty() && ::faccessat(AT_FDCWD, (folder + "/.").c_str(), X_OK, AT_EACCESS) != 0)
      return fileFailure(folder, errno);
    return tl::unexpected(spawned.error());
  }
  run.process = std::move(*spawned);
  m_process = run.process;
  m_pid = m_process->number();
  m_input = std::move(run.input);
  lowerPriority(m_pid, m_settings.qos);
  return {};
}

// The child's end of a standard stream; empty if it inherits the stream.
Result<FileDescriptor> Task::open(std::size_t number, Stream& stream, Run& run) {
  switch (stream.m_kind) {
    case Stream::Kind::INHERITED:
      break;
    case Stream::Kind::NOTHING: {
      const FileDescriptor nothing(uninterrupted([] { return ::open("/dev/null", O_RDWR | O_CLOEXEC); }));
      if (nothing.get() < 0) return systemFailure(errno);
      return duplicate(nothing.get());
    }
    case Stream::Kind::FILE:
      return duplicate(stream.m_descriptor);
    case Stream::Kind::WRITTEN:
    case Stream::Kind::TEXT:
      if (number != STDIN_FILENO) return failure("task", EINVAL, "Only standard input can be written to");
      return makePipe().and_then([&](Pipe pipe) -> Result<FileDescriptor> {
        ::fcntl(pipe.write.get(), F_SETFL, O_NONBLOCK);
        run.input = std::make_shared<Input>(std::move(pipe.write));
        if (stream.m_kind == Stream::Kind::TEXT) {
          if (!run.input->write(stream.m_text)) return systemFailure(EAGAIN);
          run.input->close();
        }
        return std::move(pipe.read);
      });
    case Stream::Kind::READ:
      if (number == STDIN_FILENO) return failure("task", EINVAL, "Standard input cannot be read from");
      return makePipe().map([&](Pipe pipe) {
        run.outputs[number - 1] = {std::move(pipe.read), std::move(stream.m_reader)};
        return std::move(pipe.write);
      });
    case Stream::Kind::OUTPUT:
      if (number != STDERR_FILENO) return failure("task", EINVAL, "Only standard error can go where the output goes");
      break;
  }
  return FileDescriptor();
}

// Runs until the child has exited and its outputs have ended.
void Task::follow(Run& run) {
  std::array<char, 65536> buffer;
  for (;;) {
    std::array<pollfd, 3> waits{};
    waits[2] = {isRunning() ? run.process->descriptor() : -1, POLLIN, 0};
    for (std::size_t i = 0; i < run.outputs.size(); ++i) waits[i] = {run.outputs[i].end.get(), POLLIN, 0};
    if (std::ranges::all_of(waits, [](const pollfd& wait) { return wait.fd < 0; })) break;
    const int found = ::poll(waits.data(), waits.size(), millisecondsUntil(run.end));
    // After a lack of memory there may be some again; pause in any case.
    if (found < 0 && errno != EINTR) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (overdue(run)) break;
    if (found < 0) continue;
    for (std::size_t i = 0; i < run.outputs.size(); ++i)
      if (waits[i].revents != 0) read(run, i, buffer);
    if (waits[2].revents != 0) reap();
  }
  waitUntilExit();  // for a child without a descriptor
  closeInput();
  if (run.terminationHandler) callOrFatal([&] { run.terminationHandler(*this); }, "the termination handler of a Task");
}

// If the time limit has expired, kills the child and ends the outputs. Returns whether it has.
bool Task::overdue(Run& run) {
  if (!run.end || steady_clock::now() < *run.end) return false;
  m_exceededLimit = true;
  kill();
  for (auto& [end, reader] : run.outputs) {
    end = FileDescriptor();
    if (reader && !m_dropsOutput) callOrFatal([&] { reader(*this, {}); }, "a reader of a Task");
    reader = nullptr;
  }
  return true;
}

// Passes on the available bytes of an output, or its end.
void Task::read(Run& run, std::size_t output, std::span<char> buffer) {
  auto& [end, reader] = run.outputs[output];
  const ssize_t count = uninterrupted([&] { return ::read(end.get(), buffer.data(), buffer.size()); });
  if (count <= 0) end = FileDescriptor();
  const std::string_view bytes(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  if (reader && !m_dropsOutput) callOrFatal([&] { reader(*this, bytes); }, "a reader of a Task");
  if (count <= 0) reader = nullptr;
}

// Takes the status of the child, which has exited.
void Task::reap() {
  MutexLock lock(m_mutex);
  if (m_state != State::RUNNING) return;
  if (const auto exit = m_process->take()) {
    m_status = exit->status;
    m_reason = exit->killed ? TerminationReason::UNCAUGHT_SIGNAL : TerminationReason::EXIT;
    m_usage = exit->usage;
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
  const std::shared_ptr<ChildProcess> process = m_process;
  lock.unlock();
  process->wait();  // here and not on the task's thread only, so that its readers can wait too
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
  // The id belongs to the child until it is reaped; the application may have done so by mistake.
  if (m_state != State::RUNNING || !m_process->exists()) return;
  ::kill(-m_pid, number);
  if (::getpgid(m_pid) != m_pid) ::kill(m_pid, number);  // it has moved to another group, or shares ours
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
