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
/// To run a command and take its output, use Execute (corvane/system/Execute.h), which is simpler.
///
/// The child starts with the default action for every signal, no blocked signals, no descriptors except its three
/// standard streams, and, unless Settings say otherwise, a process group of its own: a terminal's Ctrl-C does not reach
/// it, and a child that uses the terminal is stopped until it is killed. Nothing changes in the calling process,
/// neither signal handlers nor the signal mask. The process is always reaped; a task may be released while it runs.
/// Starting takes as long in a large process as in a small one.
///
/// Any thread.
class CORVANE_API Task : public std::enable_shared_from_this<Task> {
 public:
  /// Receives output as it arrives, in pieces of at most 64 KiB; an empty piece marks the end and is passed exactly
  /// once. Called on a thread of the task (with run(), on the caller's), one call at a time; while it runs, the child
  /// may fill its pipe and wait. The bytes are valid during the call. It must not throw.
  using Reader = std::function<void(Task& task, std::string_view bytes)>;

  /// Where a standard stream of the child leads.
  class CORVANE_API Stream {
   public:
    static Stream inherited();  ///< to where the caller's leads
    static Stream nothing();    ///< to /dev/null
    /// To the file of one of the caller's descriptors, which must be open at launch() and may be closed after it.
    static Stream file(int descriptor);
    static Stream written();                ///< input only: to write(), through a pipe
    static Stream text(std::string bytes);  ///< input only: these bytes, and then the end
    static Stream read(Reader reader);      ///< output and error: to a reader, through a pipe
    static Stream output();                 ///< error only: to where standard output leads

   private:
    friend class Task;
    enum class Kind : std::uint8_t { INHERITED, NOTHING, FILE, WRITTEN, TEXT, READ, OUTPUT };
    explicit Stream(Kind kind) : m_kind(kind) {}
    Kind m_kind;
    int m_descriptor = -1;
    std::string m_text;
    Reader m_reader;
  };

  using TerminationHandler = std::function<void(Task&)>;  ///< is given the task that has ended

  /// What to start, and how.
  struct Settings {
    std::string executable = {};              ///< path of the program; PATH is not searched
    std::vector<std::string> arguments = {};  ///< without the program's own name
    /// The child's whole environment; std::nullopt: the caller's.
    std::optional<std::map<std::string, std::string>> environment = {};
    std::string folder = {};  ///< working folder; empty: the caller's
    /// How urgent the child is. On Linux this sets its niceness: at least 5 for UTILITY, 10 for BACKGROUND, otherwise
    /// the caller's.
    QoS qos = QoS::DEFAULT;
    Stream input = Stream::inherited();   ///< what it reads
    Stream output = Stream::inherited();  ///< where what it writes goes
    Stream error = Stream::inherited();   ///< where its messages go
    /// Leaves the child in the caller's process group, so that it may use the caller's terminal: signals from the
    /// terminal's keys reach both, and the child may read from it. The task's signals then go only to the child.
    bool sharesGroup = false;
    /// A time limit, from launch() until the child has exited and its outputs have ended. After that the child is
    /// killed with its group if it is still running, and the outputs end, even if other processes have them open. A
    /// busy reader delays this. std::nullopt: no limit.
    std::optional<Timeval> limit = {};
    /// Called once, on the readers' thread, when the child has exited and its outputs have been read to the end
    /// (including from processes that the child started and that still have them open). It must not throw.
    TerminationHandler terminationHandler = {};
  };

  /// How a child ended.
  enum class TerminationReason : std::uint8_t {
    EXIT,            ///< it exited: the status is its exit status
    UNCAUGHT_SIGNAL  ///< a signal killed it: the status is the signal's number
  };

  /// Does not start anything yet.
  static std::shared_ptr<Task> create(Settings settings);
  ~Task();
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  const std::string& executable() const { return m_executable; }  ///< the path that it was made with

  /// Starts the child, once: later calls fail. The error has an errno code and the system's description: no such file,
  /// no permission (a folder, or not executable), not a program, arguments or environment beyond the system's limits
  /// (128 KiB for one argument), no descriptor, memory or thread left. A text with a zero byte, or a variable name that
  /// is empty or contains "=", is an invalid argument. If this fails, no handler is ever called.
  Result<void> launch();

  /// Like launch(), but returns when the child has exited and its outputs have been read to the end. The readers and
  /// the termination handler are called on this thread, which takes fewer thread switches than launch().
  Result<void> run();

  /// The process id; std::nullopt before the child runs. After it has ended the id may be reused.
  std::optional<pid_t> processIdentifier() const;
  /// True from launch() until it has exited.
  bool isRunning() const;
  /// Waits until it has exited, but not for its output. Also waits for a launch() that is still to come; returns at
  /// once if launch() failed.
  void waitUntilExit();

  /// Exit status or signal number; std::nullopt until it has exited. -1 if it is unknown, because the application
  /// ignores SIGCHLD or has itself waited for all children.
  std::optional<std::int32_t> terminationStatus() const;
  TerminationReason terminationReason() const;  ///< EXIT until it has exited
  /// Whether the time limit expired before it and its outputs had ended.
  bool exceededLimit() const { return m_exceededLimit; }
  /// The resources used by it and by the children that it waited for; all zero until it has exited. On Linux its peak
  /// memory (ru_maxrss) is never below the caller's at launch, because it started in the caller's memory.
  rusage resourceUsage() const;

  /// Signals to the child and the processes of its group. These do nothing if it is not running.
  void signal(int number);
  void interrupt();  ///< SIGINT
  void terminate();  ///< SIGTERM, which it may ignore
  void kill();       ///< SIGKILL

  /// Writes bytes to the child's standard input if that is Stream::written(). Never waits, and raises no SIGPIPE: bytes
  /// that do not fit the pipe yet are kept and written on another thread. False if they cannot be written: the input
  /// was closed, the child has ended, or the pipe is full and the system refuses the thread to wait for it (the input
  /// is then closed).
  bool write(std::string_view bytes);
  /// Ends the child's standard input after what has been written.
  void closeInput();

  /// The readers are not called any more (a call in progress on another thread still completes): further output is read
  /// and dropped, so the child neither waits nor fails.
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
