#include "apps/inspector/commands/ChildCommand.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string_view>

#include "apps/common/Output.h"
#include "apps/inspector/text/Format.h"

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

}  // namespace

ChildCommand::ChildCommand() {
  ::signal(SIGCHLD, SIG_DFL);  // if it stayed ignored, the child's status would be lost
  sigemptyset(&m_set);
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGCHLD}) sigaddset(&m_set, number);
  pthread_sigmask(SIG_BLOCK, &m_set, nullptr);
}

void ChildCommand::forwardTo(Task& task) const {
  while (task.isRunning()) {
    siginfo_t info{};
    const int number = sigwaitinfo(&m_set, &info);
    if (number > 0 && number != SIGCHLD && (info.si_code == SI_USER || info.si_code == SI_QUEUE)) task.signal(number);
  }
}

tl::expected<std::shared_ptr<Task>, int> ChildCommand::run(const std::vector<std::string>& command,
                                                           const std::function<void()>& launched) const {
  const auto failed = [&](const std::string& reason, int status) {
    return tl::unexpected(fail(printable(command.front() + ": " + reason, Glyphs::ofLocale()), status));
  };
  const auto path = pathOf(command.front());
  if (!path) return failed("not found", NOT_FOUND);
  auto task = Task::create({.executable = *path,
                            .arguments = {command.begin() + 1, command.end()},
                            .sharesGroup = true,
                            .terminationHandler = [thread = pthread_self()](Task&) { pthread_kill(thread, SIGCHLD); }});
  if (const auto started = task->launch(); !started) {
    const Error& error = started.error();
    if (error.code == ENOENT && isFile(*path)) return failed("its interpreter is missing", NOT_STARTED);
    return failed(error.description, error.code == ENOENT ? NOT_FOUND : NOT_STARTED);
  }
  launched();
  forwardTo(*task);
  return task;
}

int ChildCommand::exitStatus(const Task& task) {
  const int status = task.terminationStatus().value_or(-1);
  return task.terminationReason() == Task::TerminationReason::UNCAUGHT_SIGNAL ? 128 + status : status;
}

}  // namespace corvane::inspector
