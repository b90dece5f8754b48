#include "apps/inspector/model/ProcessSignal.h"

#include <errno.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <system_error>

#include "corvane/core/Files.h"
#include "corvane/system/procinfo/procinfo.h"

namespace corvane::inspector {

namespace {

tl::unexpected<Error> refused(int code) {
  return failure("posix", code, code == ESRCH ? "it has ended" : std::generic_category().message(code));
}

}  // namespace

Result<void> sendSignal(pid_t pid, std::int64_t started, int number) {
  if (pid == ::getpid() && (number == SIGSTOP || number == SIGKILL))
    return failure("posix", EINVAL, "it is this program (^Z stops it, q ends it)");
  // The C library's header for these system calls is not for C++. The descriptor stays with the process that has the
  // number now, and after that it is asked whether this is the one that is meant.
  const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
  if (process.get() < 0) return refused(errno);
  proc_bsdinfo info{};
  if (procinfo_pidinfo(pid, &info) != 0) return refused(errno);
  const auto start = static_cast<std::int64_t>(info.pbi_start_tvsec * 1'000'000 + info.pbi_start_tvusec);
  if (start != started) return refused(ESRCH);
  if (::syscall(SYS_pidfd_send_signal, process.get(), number, nullptr, 0) != 0) return refused(errno);
  return {};
}

}  // namespace corvane::inspector
