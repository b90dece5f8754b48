#include "apps/inspector/commands/RunCommand.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/model/TextFile.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/SignalName.h"
#include "corvane/system/Task.h"

namespace corvane::inspector {

namespace {

constexpr int NOT_FOUND = 127, NOT_STARTED = 126;

bool isFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// The path of a command, as the shell finds it; std::nullopt if there is none. A file that may not be executed is
// better than none.
std::optional<std::string> pathOf(const std::string& command) {
  if (command.find('/') != std::string::npos) return command;
  const char* const folders = std::getenv("PATH");
  std::string_view rest = folders ? folders : "/usr/local/bin:/usr/bin:/bin";
  std::optional<std::string> found;
  for (bool more = !command.empty(); more;) {
    const auto end = rest.find(':');
    const std::string folder(rest.substr(0, end));
    const std::string path = (folder.empty() ? "." : folder) + "/" + command;
    more = end != rest.npos;
    if (more) rest.remove_prefix(end + 1);
    if (!isFile(path)) continue;
    if (faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0) return path;
    if (!found) found = path;
  }
  return found;
}

// The most memory that this process has had, in bytes.
std::uint64_t ownPeak() {
  static constexpr std::string_view KEY = "VmHWM:";
  const std::string status = readText("/proc/self/status").value_or("");
  for (const std::string_view line : linesOf(status))
    if (const auto fields = fieldsOf(line); fields.size() > 1 && fields[0] == KEY)
      return numberIn<std::uint64_t>(fields[1]).value_or(0) * 1024;
  return 0;
}

// Receives the signals that would end this process and passes them on to the child until it has ended. Signals from the
// terminal's keys have already reached the child.
class Signals {
 public:
  // Created before other threads, so that all of them block these signals.
  Signals() {
    ::signal(SIGCHLD, SIG_DFL);  // if it stayed ignored, the child's status would be lost
    sigemptyset(&m_set);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGCHLD}) sigaddset(&m_set, number);
    pthread_sigmask(SIG_BLOCK, &m_set, nullptr);
  }

  void forwardTo(Task& task) const {
    while (task.isRunning()) {
      siginfo_t info{};
      const int number = sigwaitinfo(&m_set, &info);
      if (number > 0 && number != SIGCHLD && (info.si_code == SI_USER || info.si_code == SI_QUEUE)) task.signal(number);
    }
  }

 private:
  sigset_t m_set{};
};

// The resources that a command used.
struct Outcome {
  int status;
  bool killed;  // the status is a signal's number
  std::chrono::duration<double> wall;
  rusage usage;
  std::uint64_t floor;  // a peak of memory up to this is unknown

  std::uint64_t peak() const { return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024; }
};

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

std::string lineOf(const std::string& command, const Outcome& outcome) {
  const auto time = [](double value) { return decimal(value, 3) + " s"; };
  return printable("corvane-inspector: " + command + ": ", Glyphs::ofLocale()) +
         (outcome.killed ? "killed by " + signalName(outcome.status) : "status " + std::to_string(outcome.status)) +
         ", " + time(outcome.wall.count()) + ", user " + time(seconds(outcome.usage.ru_utime)) + ", system " +
         time(seconds(outcome.usage.ru_stime)) + ", peak memory " +
         (outcome.peak() > outcome.floor ? bytes(outcome.peak()) : "at most " + bytes(outcome.floor));
}

std::string objectOf(const std::vector<std::string>& command, const Outcome& outcome) {
  const bool known = outcome.peak() > outcome.floor;
  return R"({"command":)" + jsonArray(command, jsonString) + R"(,"status":)" +
         (outcome.killed ? "null" : std::to_string(outcome.status)) + R"(,"signal":)" +
         (outcome.killed ? jsonString(signalName(outcome.status)) : "null") + R"(,"wall_seconds":)" +
         jsonNumber(outcome.wall.count(), 6) + R"(,"user_seconds":)" + jsonNumber(seconds(outcome.usage.ru_utime), 6) +
         R"(,"system_seconds":)" + jsonNumber(seconds(outcome.usage.ru_stime), 6) + R"(,"peak_memory_bytes":)" +
         std::to_string(known ? outcome.peak() : outcome.floor) + R"(,"peak_memory_is_bound":)" +
         (known ? "false" : "true") + "}";
}

}  // namespace

int runCommand(const Arguments& arguments) {
  // The command begins after "--", or with the first argument that is not an option.
  auto begin = std::ranges::find_if(arguments, [](std::string_view a) { return !a.starts_with("-") || a == "--"; });
  const Arguments own(arguments.begin(), begin);
  if (begin != arguments.end() && *begin == "--") ++begin;
  bool json = false;
  for (OptionReader option(own); option.next();) {
    if (option.name() != "--json") return failUsage(option.unknown().value());
    if (const auto none = option.noValue(); !none) return failUsage(none.error());
    json = true;
  }
  if (begin == arguments.end()) return failUsage("run: the command is missing");
  const std::vector<std::string> command(begin, arguments.end());
  const auto failed = [&](const std::string& reason, int status) {
    return fail(printable(command.front() + ": " + reason, Glyphs::ofLocale()), status);
  };

  const auto path = pathOf(command.front());
  if (!path) return failed("not found", NOT_FOUND);
  const Signals signals;
  const auto task =
      Task::create({.executable = *path,
                    .arguments = {command.begin() + 1, command.end()},
                    .sharesGroup = true,
                    .terminationHandler = [thread = pthread_self()](Task&) { pthread_kill(thread, SIGCHLD); }});
  const auto started = std::chrono::steady_clock::now();
  if (const auto launched = task->launch(); !launched) {
    const Error& error = launched.error();
    if (error.code == ENOENT && isFile(*path)) return failed("its interpreter is missing", NOT_STARTED);
    return failed(error.description, error.code == ENOENT ? NOT_FOUND : NOT_STARTED);
  }
  // The child starts in this process's memory, so its peak starts from the peak of this process.
  const std::uint64_t floor = ownPeak();
  signals.forwardTo(*task);
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - started;
  const bool killed = task->terminationReason() == Task::TerminationReason::UNCAUGHT_SIGNAL;
  const Outcome outcome{task->terminationStatus().value_or(-1), killed, wall, task->resourceUsage(), floor};
  std::fprintf(stderr, "%s\n", (json ? objectOf(command, outcome) : lineOf(command.front(), outcome)).c_str());
  return killed ? 128 + outcome.status : outcome.status;
}

}  // namespace corvane::inspector
