#include "apps/inspector/model/ProcessSignal.h"

#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include <system_error>

#include "corvane/platform/Platform.h"

namespace corvane::inspector {

Result<void> sendSignal(pid_t pid, std::int64_t started, int number) {
  if (pid == ::getpid() && (number == SIGSTOP || number == SIGKILL))
    return failure("posix", EINVAL, "it is this program");
  ProcessTable& table = platform().processTable();
  const auto sent = table.signal(pid, static_cast<std::uint64_t>(started - table.bootTime()) * 1000, number);
  if (sent) return {};
  const int code = sent.error().code;
  return failure("posix", code, code == ESRCH ? "it has ended" : std::generic_category().message(code));
}

}  // namespace corvane::inspector
