#include "corvane/core/fatal.h"

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace corvane {

void fatal(std::string_view message) noexcept {
  // One write, no allocation: the process may be in any state.
  static constexpr std::string_view prefix = "fatal: ";
  const std::array<iovec, 3> line = {iovec{const_cast<char*>(prefix.data()), prefix.size()},
                                     iovec{const_cast<char*>(message.data()), message.size()},
                                     iovec{const_cast<char*>("\n"), 1}};
  [[maybe_unused]] const ssize_t written = writev(STDERR_FILENO, line.data(), static_cast<int>(line.size()));
  std::abort();
}

}  // namespace corvane
