#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/Timeval.h"
#include "corvane/platform/ChildProcesses.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/SerialQueues.h"

namespace corvane {

/// Another program that runs as a child of this one: what to run, and then the running process.
///
///     auto task = Task::create({.executable = "/usr/bin/sort",
///                               .input = Task::Stream::written(),
///                               .output = Task::Stream::read([](Task&, std::string_view bytes) { use(bytes); })});
///     if (auto launched = task->launch(); !launched) return report(launched.error().description);
///     task->write("pear\napple\n");
///     task->closeInput();
///     task->waitUntilExit();
///
/// To run a command and take its output, Execute (corvane/system/Execute.h) is shorter.
///
/// The child starts with the default action for every signal, none blocked, no descriptors but its three standard
/// streams, and in a process group of its own, unless Settings say otherwise: a terminal's Ctrl-C does not reach it,
/// and a child that touches the terminal is stopped until somebody ends it. Nothing of the calling process changes: no
/// signal handler, no signal mask. The process is always reaped; a task may be let go of while it runs. Starting takes
/// as long in a large process as in a small one.
///
/// Any thread.
class CORVANE_API Task : public std::enable_shared_from_this<Task> {
 public:
  /// Takes a piece of output as it arrives, of at most 64 KiB; an empty piece is the end, which comes exactly once.
  /// Called on a thread of the task (with run(): on the caller's), one call at a time, and while it runs the child may
  /// fill its pipe and wait. The bytes are good during the call. It must not throw.
  using Reader = std::function<void(Task& task, std::string_view bytes)>;

  /// Where a standard stream of the child leads.
  class CORVANE_API Stream {
   public:
    static Stream inherited();  ///< where the caller's leads
    static Stream nothing();    ///< to /dev/null
    /// To the file behind a descriptor of the caller's, which must be open at launch() and may be closed after it.
    static Stream file(int descriptor);
    static Stream written();                ///< input only: to write(), through a pipe
    static Stream text(std::string bytes);  ///< input only: these bytes, and then their end
    static Stream read(Reader reader);      ///< output and error: to a reader, through a pipe
    static Stream output();                 ///< error only: where standard output leads

   private:
    friend class Task;
    enum class Kind : std::uint8_t { INHERITED, NOTHING, FILE, WRITTEN, TEXT, READ, OUTPUT };
    explicit Stream(Kind kind) : m_kind(kind) {}
    Kind m_kind;
    int m_descriptor = -1;
    std::string m_text;
    Reader m_reader;
  };

  using TerminationHandler = std::function<void(Task&)>;

  struct Settings {
    std::string executable = {};              ///< path of the program; PATH is not searched
    std::vector<std::string> arguments = {};  ///< without the program's own name
    /// The child's whole environment; std::nullopt: the caller's.
    std::optional<std::map<std::string, std::string>> environment = {};
    std::string folder = {};  ///< working folder; empty: the caller's
    /// How urgent the child is. On Linux its niceness: at least 5 for UTILITY, 10 for BACKGROUND, else the caller's.
    QoS qos = QoS::DEFAULT;
    Stream input = Stream::inherited();
    Stream output = Stream::inherited();
    Stream error = Stream::inherited();
    /// Leaves it in the caller's process group, for a program that gives its terminal to the child: the terminal's keys
    /// reach both, and the child may read from it. Signals of the task then go to the child alone.
    bool sharesGroup = false;
    /// How long it may run from launch() on, until its outputs have ended too. Then it is killed, with its group, if it
    /// still runs, and the outputs end, whoever has them open. A reader that is busy delays that. std::nullopt: as long
    /// as it likes.
    std::optional<Timeval> limit = {};
    /// Called once on the thread of the readers, when the child has exited and its outputs have been read to their ends
    /// (also by processes that the child started and that still have them open). It must not throw.
    TerminationHandler terminationHandler = {};
  };

  /// How a child ended.
  enum class TerminationReason : std::uint8_t {
    EXIT,            ///< it exited: the status is its exit status
    UNCAUGHT_SIGNAL  ///< a signal killed it: the status is the signal's number
  };

  /// Starts nothing yet.
  static std::shared_ptr<Task> create(Settings settings);
  ~Task();
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  const std::string& executable() const { return m_executable; }

  /// Starts the child, once: later calls fail. The error's code is an errno code, its description what the system says
  /// of it: no such file, no permission (a folder, or not executable), not a program, arguments or environment beyond
  /// the system's limits (one argument: 128 KiB), no descriptor, memory or thread left. A text with a zero byte, or a
  /// variable's name that is empty or has "=", is an invalid argument. When this fails no handler is ever called.
  Result<void> launch();

  /// The same, and returns when the child has exited and its outputs have been read to their ends. The readers and the
  /// termination handler are called on this thread, which takes fewer changes of threads than launch().
  Result<void> run();

  /// Its process number; std::nullopt before it runs. After its end the number may be another's.
  std::optional<pid_t> processIdentifier() const;
  /// True from launch() until it has exited.
  bool isRunning() const;
  /// Waits until it has exited, also for a launch() to come; not for its output. Returns at once if launch() failed.
  void waitUntilExit();

  /// Exit status or signal number; std::nullopt until it has exited. -1 if nobody knows: the application ignores
  /// SIGCHLD, or its handler has waited for every child there is.
  std::optional<std::int32_t> terminationStatus() const;
  TerminationReason terminationReason() const;  ///< EXIT until it has exited
  /// Whether the time limit was over before it and its outputs had ended.
  bool exceededLimit() const { return m_exceededLimit; }
  /// What it used, and its children that it waited for; all zero until it has exited. On Linux its peak of memory
  /// (ru_maxrss) is never below the caller's at launch, in whose memory it began.
  rusage resourceUsage() const;

  // Signals, to the child and the processes of its group; nothing if it does not run.
  void signal(int number);
  void interrupt();  ///< SIGINT
  void terminate();  ///< SIGTERM, which it may ignore
  void kill();       ///< SIGKILL

  /// Gives bytes to the child's standard input if that is Stream::written(). Never waits, and raises no SIGPIPE: what
  /// the child has no room for yet is kept, and written on another thread. False if nothing takes them (the input was
  /// closed, the child is gone, or has no room and there is no thread left to wait for it, which closes the input).
  bool write(std::string_view bytes);
  /// Ends the child's standard input after what has been written.
  void closeInput();

  /// Calls the readers no more (a call under way on another thread still ends): what the child writes is read and
  /// dropped, so it neither waits for a reader nor fails.
  void dropOutput();

 private:
  class Input;
  struct Run;
  enum class State : std::uint8_t { NEW, RUNNING, EXITED, FAILED };

  explicit Task(Settings settings);
  Result<void> begin(Run& run, bool hasThread);
  Result<void> start(Run& run) CORVANE_REQUIRES(m_mutex);
  static Result<FileDescriptor> open(std::size_t number, Stream& stream, Run& run);
  void follow(Run& run);
  bool overdue(Run& run);
  void read(Run& run, std::size_t output, std::span<char> buffer);
  void reap();

  const std::string m_executable;
  const std::unique_ptr<SerialQueue> m_queue;
  std::atomic<bool> m_dropsOutput = false;
  std::atomic<bool> m_exceededLimit = false;
  mutable Mutex m_mutex;
  Settings m_settings CORVANE_GUARDED_BY(m_mutex);  // until launch()
  State m_state CORVANE_GUARDED_BY(m_mutex) = State::NEW;
  pid_t m_pid CORVANE_GUARDED_BY(m_mutex) = 0;
  std::shared_ptr<ChildProcess> m_process CORVANE_GUARDED_BY(m_mutex);  // while it runs
  std::int32_t m_status CORVANE_GUARDED_BY(m_mutex) = -1;
  TerminationReason m_reason CORVANE_GUARDED_BY(m_mutex) = TerminationReason::EXIT;
  rusage m_usage CORVANE_GUARDED_BY(m_mutex) = {};
  std::shared_ptr<Input> m_input CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
