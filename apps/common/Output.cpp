#include "apps/common/Output.h"

#include <errno.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace corvane {

namespace {

std::string_view s_programName = "corvane";

}  // namespace

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

std::optional<std::size_t> terminalWidth() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
  return size.ws_col;
}

int statusAfterOutput(int error) {
  return error == 0 || error == EPIPE ? 0 : fail(std::string("standard output: ") + std::strerror(error));
}

void setProgramName(std::string_view name) {
  s_programName = name;
}

void report(std::string_view line) {
  const std::string text = std::string(s_programName).append(": ").append(line).append("\n");
  std::fwrite(text.data(), 1, text.size(), stderr);
}

int fail(std::string_view reason, int status) {
  report(reason);
  return status;
}

int failUsage(std::string_view reason) {
  return fail(std::string(reason) + " (see --help)", 2);
}

}  // namespace corvane
