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

/// How Execute runs a program; what is left out is as without options.
///
///     Execute::sync("/usr/bin/git", {"fetch"}, {.folder = clone, .limit = Timeval::sec(30)});
struct ExecuteOptions {
  std::string folder = {};                                             ///< to run in; empty: the caller's
  std::optional<std::map<std::string, std::string>> environment = {};  ///< all of it; std::nullopt: the caller's
  std::optional<std::string> input = {};  ///< what it reads, of any size, and then the end; std::nullopt: the caller's
  /// When this is over the program is killed, with what it has started in its group, and the output ends; there is one
  /// line in the log, and the status is SIGKILL's. std::nullopt: it may run for as long as it likes.
  std::optional<Timeval> limit = {};
};

/// Runs other programs: waits for their output, or gets it later, or as it comes.
///
///     const auto [status, output] = Execute::syncWithStatus("/usr/bin/git", {"status", "--short"});
///
/// Programs are named by path; PATH is not searched. What cannot be started is reported in the application's log
/// (standard error for an application without one). How children start: see Task. Any thread.
class CORVANE_API Execute {
 public:
  using Environment = std::map<std::string, std::string>;
  using Arguments = std::vector<std::string>;
  using Options = ExecuteOptions;

  /// Runs a program and waits until it has exited and its output has ended: if processes that it started have the
  /// output still open, for them too. The status is its exit status, or the number of the signal that killed it; -1 if
  /// it could not be started. The output is all that it wrote to standard output and standard error, of any size; if
  /// that is not UTF-8, "Cannot decode output from:" (in the user's language), a blank and the path.
  ///
  /// The program stays in the caller's process group: it may use the caller's terminal, whose keys reach both. With a
  /// time limit it has a group of its own, and is stopped until the limit if it touches the terminal.
  static std::pair<std::int32_t, std::string> syncWithStatus(const std::string& path, const Arguments& args,
                                                             const Options& options = {});

  /// The output alone; empty if the program could not be started.
  static std::string sync(const std::string& path, const Arguments& args, const Options& options = {});

  /// Starts a program on another thread and returns at once. `completion`, if any, gets the output as above when the
  /// program has exited and its output has ended, on a thread of the task; never if the program could not be started.
  static std::shared_ptr<Task> async(const std::string& path, const Arguments& args, QoS qos,
                                     std::function<void(const std::string& output)> completion,
                                     const Options& options = {});

  /// Gets text as it arrives, and std::nullopt at the end. Called on a thread of the task, one call at a time.
  using Reader = std::function<void(const std::optional<std::string>& text)>;

  /// Starts a program whose standard output goes to the reader as it arrives, in pieces that are neither split into
  /// lines nor joined, and whose standard input writeProcess() writes. Standard error is inherited. `env`, if any, is
  /// its whole environment. Finally, std::nullopt is passed exactly once, when nobody writes the output any more; the
  /// input is closed before. Null if the program could not be started; the reader is then never called.
  ///
  /// A piece that is not UTF-8 is dropped, also when it only cuts a character: for text beyond ASCII, or for whole
  /// lines, use readLines(). A slow reader makes the program wait.
  static std::shared_ptr<Task> readPipe(const std::string& path, QoS qos, const Arguments& args,
                                        const std::optional<Environment>& env, Reader reader);

  /// A line of more bytes comes in pieces of about as many, cut between characters.
  static constexpr std::size_t MAX_LINE = 1'048'576;

  /// The same line by line, without line feeds; a last line without one counts. Nothing is dropped: bytes that are not
  /// UTF-8 become U+FFFD (see repaired() in corvane/core/Text.h).
  static std::shared_ptr<Task> readLines(const std::string& path, QoS qos, const Arguments& args,
                                         const std::optional<Environment>& env, Reader reader);

  /// Writes text to the standard input of such a program, as it is, without a line end. Never waits, and raises no
  /// signal. Nothing is written if the text is not UTF-8, the program is gone, or the task is null or takes no input.
  static void writeProcess(const std::shared_ptr<Task>& process, std::string_view text);

  /// Closes a task's standard input after what was written to it, and calls its reader no more, not even with
  /// std::nullopt (a call under way on another thread still ends). What the program still writes is read and dropped in
  /// the background; this does not wait for it. Nothing for null.
  static void closePipe(const std::shared_ptr<Task>& process);

  /// If the platform runs the application from another place than the user put it (on Linux: never), starts it again
  /// from there and ends this process with exit status 0. Before that, ends this process with exit status 1, and a line
  /// in the log, if the application is not as its maker signed it (on Linux: never).
  static void relaunchTranslocated();
};

/// Runs a shell command line (with /bin/sh) and gives its output, standard error included; see Execute::sync().
CORVANE_API std::string syscmd(const std::string& command);

/// Runs a shell command line and prints its standard output, if that is UTF-8, and a line end to this process's
/// standard output, through stdio. The exit status (or signal number); -1 if it could not be started, and then
/// "Exception caught in ", the command, ": " and the reason in the log.
CORVANE_API std::int32_t execcmd(const std::string& command);

}  // namespace corvane
