#include "apps/inspector/text/Output.h"

#include <errno.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace corvane::inspector {

int writeOut(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written >= 0)
      text.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR)
      return errno;
  }
  return 0;
}

int statusAfterOutput(int error) {
  return error == 0 || error == EPIPE ? 0 : fail(std::string("standard output: ") + std::strerror(error));
}

int fail(const std::string& reason, int status) {
  std::fprintf(stderr, "corvane-inspector: %s\n", reason.c_str());
  return status;
}

int failUsage(const std::string& reason) {
  return fail(reason + " (see --help)", 2);
}

}  // namespace corvane::inspector
