#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/SerialQueues.h"
#include "corvane/system/Task.h"
#include "corvane/system/translocate_c.h"

namespace corvane {

/// How Execute runs a program; every member is optional.
///
///     Execute::sync("/usr/bin/git", {"fetch"}, {.folder = clone, .limit = Timeval::sec(30)});
struct ExecuteOptions {
  std::string folder = {};  ///< the working folder; empty: the caller's
  std::optional<std::map<std::string, std::string>> environment =
      {};                                 ///< the whole environment; std::nullopt: the caller's
  std::optional<std::string> input = {};  ///< its standard input, of any size; std::nullopt: the caller's
  /// After this time the program is killed, together with its process group, and the output ends; one line is logged,
  /// and the status is that of SIGKILL. std::nullopt: no limit.
  std::optional<Timeval> limit = {};
};

/// Runs other programs and returns their output, passes it on when they have ended, or as it arrives.
///
///     const auto [status, output] = Execute::syncWithStatus("/usr/bin/git", {"status", "--short"});
///
/// Programs are named by path; PATH is not searched. A program that cannot be started is reported in the application's
/// log (on standard error for an application without one). Task describes how children start. Any thread.
class CORVANE_API Execute {
 public:
  using Environment = std::map<std::string, std::string>;  ///< names and values
  using Arguments = std::vector<std::string>;              ///< without the program's own name
  using Options = ExecuteOptions;                          ///< what may be set besides

  /// Runs a program and waits until it has exited and its output has ended, including processes that it started and
  /// that still have the output open. The status is its exit status, or the number of the signal that killed it; -1 if
  /// it could not be started. The output is everything that it wrote to standard output and standard error, of any
  /// size; if that is not UTF-8, it is "Cannot decode output from:" (in the user's language), a blank and the path.
  ///
  /// The program stays in the caller's process group: it may use the caller's terminal, and signals from the terminal's
  /// keys reach both. With a time limit it has its own group; if it uses the terminal, it is then stopped until the
  /// limit.
  static std::pair<std::int32_t, std::string> syncWithStatus(const std::string& path, const Arguments& args,
                                                             const Options& options = {});

  /// Like syncWithStatus(), but returns only the output; empty if the program could not be started.
  static std::string sync(const std::string& path, const Arguments& args, const Options& options = {});

  /// Starts a program on another thread and returns at once. `completion`, if any, is called with the output, on a
  /// thread of the task, when the program has exited and its output has ended; it is never called if the program could
  /// not be started.
  static std::shared_ptr<Task> async(const std::string& path, const Arguments& args, QoS qos,
                                     std::function<void(const std::string& output)> completion,
                                     const Options& options = {});

  /// Receives text as it arrives, and std::nullopt at the end. Called on a thread of the task, one call at a time.
  using Reader = std::function<void(const std::optional<std::string>& text)>;

  /// Starts a program. Its standard output goes to the reader as it arrives, in pieces that are neither split into
  /// lines nor joined; its standard input is written with writeProcess(). Standard error is inherited. `env`, if any,
  /// is its whole environment. Finally, std::nullopt is passed exactly once, when no process can write the output any
  /// more; the input is closed before that. Returns null if the program could not be started; the reader is then never
  /// called.
  ///
  /// A piece that is not UTF-8 is dropped, even if it merely splits a character: for text beyond ASCII, or for whole
  /// lines, use readLines(). A slow reader makes the program wait.
  static std::shared_ptr<Task> readPipe(const std::string& path, QoS qos, const Arguments& args,
                                        const std::optional<Environment>& env, Reader reader);

  /// A line of more bytes is passed in pieces of about this size, split between characters.
  static constexpr std::size_t MAX_LINE = 1'048'576;

  /// Like readPipe(), but line by line, without line feeds; the last line may lack one. Nothing is dropped: bytes that
  /// are not UTF-8 become U+FFFD (see repaired() in corvane/core/Text.h).
  static std::shared_ptr<Task> readLines(const std::string& path, QoS qos, const Arguments& args,
                                         const std::optional<Environment>& env, Reader reader);

  /// Writes text to the standard input of a program started by readPipe() or readLines(), as it is, without adding a
  /// line end. Never waits, and raises no signal. Nothing is written if the text is not UTF-8, the program has ended,
  /// or the task is null or takes no input.
  static void writeProcess(const std::shared_ptr<Task>& process, std::string_view text);

  /// Closes a task's standard input after what has been written to it. Its reader is not called any more, not even with
  /// std::nullopt (a call in progress on another thread still completes). Further output of the program is read and
  /// dropped in the background, without waiting here. Does nothing for null.
  static void closePipe(const std::shared_ptr<Task>& process);

  /// If the platform runs the application from a place other than where the user put it (on Linux: never), restarts it
  /// from its original place and ends this process with exit status 0. First, if the application's signature is not
  /// valid (on Linux: never), logs a line and ends this process with exit status 1.
  static void relaunchTranslocated();
};

/// Runs a shell command line (with /bin/sh) and returns its output, including standard error; see Execute::sync().
CORVANE_API std::string syscmd(const std::string& command);

/// Runs a shell command line and prints its standard output, if that is UTF-8, and a line end to this process's
/// standard output, through stdio. Returns the exit status or signal number. If it could not be started, returns -1 and
/// logs "Exception caught in ", the command, ": " and the reason.
CORVANE_API std::int32_t execcmd(const std::string& command);

}  // namespace corvane
