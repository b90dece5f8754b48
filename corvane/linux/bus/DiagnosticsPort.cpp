#include "corvane/platform/DiagnosticsPort.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <utility>

#include "corvane/core/Files.h"
#include "corvane/core/Text.h"
#include "corvane/linux/bus/DiagnosticsClient.h"
#include "corvane/linux/bus/DiagnosticsServer.h"
#include "corvane/linux/bus/DiagnosticsStream.h"

namespace corvane {

namespace {

// Where the sockets of the user's programs are, each with the number of its process as its name.
std::string folderPath() {
  if (const char* const runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime)
    return std::string(runtime) + "/corvane";
  const char* const temporary = std::getenv("TMPDIR");
  return std::string(temporary && *temporary == '/' ? temporary : "/tmp") + "/corvane-" + std::to_string(geteuid());
}

// Everything is reached through the descriptor, so it does not matter who replaces the path.
Result<FileDescriptor> openFolder(bool create) {
  const std::string path = folderPath();
  if (create && mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) return fileFailure(path, errno);
  auto folder = openFile(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  const bool isReal = folder || (folder.error().code != ENOTDIR && folder.error().code != ELOOP);
  if (!folder && isReal) return folder;
  struct stat status {};
  if (!isReal || fstat(folder->get(), &status) != 0 || status.st_uid != geteuid() ||
      (status.st_mode & ALLPERMS) != S_IRWXU)
    return failure("posix", EACCES, path + ": not a real folder of this user's own with the mode 0700");
  return folder;
}

// A connection to a process of this user. If `waits`, then for as long as a call may take if the process has too many
// that it has not accepted; otherwise EAGAIN. ECONNREFUSED if nobody listens, ESTALE if another process does.
Result<FileDescriptor> reach(int folder, std::int32_t pid, bool waits) {
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | (waits ? 0 : SOCK_NONBLOCK), 0));
  const timeval limit = {Deadline::LIMIT / std::chrono::seconds(1), 0};
  const sockaddr_un address = diagnostics::addressOf(folder, std::to_string(pid));
  ucred peer{};
  socklen_t size = sizeof peer;
  if (socket.get() < 0 || setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0 ||
      connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
    return systemFailure(errno);
  if (peer.uid != geteuid()) return systemFailure(EACCES);
  if (peer.pid != pid) return systemFailure(ESTALE);
  return socket;
}

// Whether a process can be looked at. What a dead one has left behind is removed.
bool isThere(int folder, std::int32_t pid) {
  const std::string name = std::to_string(pid);
  struct stat before {};
  struct stat after {};
  if (fstatat(folder, name.c_str(), &before, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISSOCK(before.st_mode)) return false;
  const auto reached = reach(folder, pid, false);
  if (reached || reached.error().code == EAGAIN) return true;
  // Unless a new process has taken the number, and with it the name, in the meantime.
  if (reached.error().code == ECONNREFUSED && fstatat(folder, name.c_str(), &after, AT_SYMLINK_NOFOLLOW) == 0 &&
      after.st_ino == before.st_ino)
    unlinkat(folder, name.c_str(), 0);
  return false;
}

bool isOthers(std::int32_t pid) {
  struct stat status {};
  return stat(("/proc/" + std::to_string(pid)).c_str(), &status) == 0 && status.st_uid != geteuid();
}

class SocketPort : public DiagnosticsPort {
 public:
  Result<std::shared_ptr<void>> open(std::shared_ptr<Inspectable> program) override {
    auto folder = openFolder(true);
    if (!folder) return tl::unexpected(folder.error());
    const auto reached = reach(folder->get(), getpid(), false);
    if (reached || (reached.error().code != ENOENT && reached.error().code != ECONNREFUSED))
      return failure("posix", EADDRINUSE, "This process can be looked at already");
    return diagnostics::serve(std::move(*folder), std::to_string(getpid()), std::move(program));
  }

  Result<std::vector<std::int32_t>> programs() override {
    const auto folder = openFolder(false);
    if (!folder && folder.error().code == ENOENT) return {};
    if (!folder) return tl::unexpected(folder.error());
    std::vector<std::int32_t> programs;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc/self/fd/" + std::to_string(folder->get()), error), end;
         !error && entry != end; entry.increment(error)) {
      const std::string name = entry->path().filename();
      const auto pid = numberIn<std::int32_t>(name);
      if (pid && *pid > 0 && *pid != getpid() && name == std::to_string(*pid) && isThere(folder->get(), *pid))
        programs.push_back(*pid);
    }
    std::ranges::sort(programs);
    return programs;
  }

  Result<std::shared_ptr<Inspectable>> connect(std::int32_t pid) override {
    const Deadline deadline;
    const auto failed = [pid](int code, const char* why) {
      return failure("posix", code, "Process " + std::to_string(pid) + " " + why);
    };
    const auto folder = openFolder(false);
    if (!folder && folder.error().code != ENOENT) return tl::unexpected(folder.error());
    auto socket = folder ? reach(folder->get(), pid, true) : tl::unexpected(folder.error());
    if (!socket) {
      const int code = socket.error().code;
      if (code == EACCES || isOthers(pid)) return failed(EACCES, "belongs to another user");
      if (code == EAGAIN) return failed(ETIMEDOUT, "does not answer");
      if (code == ENOENT || code == ECONNREFUSED || code == ESTALE) return failed(ENOENT, "cannot be looked at");
      return tl::unexpected(socket.error());
    }
    return diagnostics::attach(std::move(*socket), deadline);
  }
};

}  // namespace

template <>
std::shared_ptr<DiagnosticsPort> makeService<DiagnosticsPort>() {
  return std::make_shared<SocketPort>();
}

}  // namespace corvane
