#include "apps/inspector/terminal/HeldStderr.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace corvane::inspector {

HeldStderr::HeldStderr() {
  std::array<int, 2> ends{};
  if (isatty(STDERR_FILENO) == 0 || pipe(ends.data()) != 0) return;
  for (const int end : ends) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(end, F_SETFL, O_NONBLOCK);  // a full pipe does not block the writer
  }
  m_held = ends[0];
  m_original = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  if (m_original >= 0) dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
}

HeldStderr::~HeldStderr() {
  release();
  if (m_held >= 0) close(m_held);
}

void HeldStderr::release() noexcept {
  if (m_original < 0) return;
  const int original = std::exchange(m_original, -1);
  dup2(original, STDERR_FILENO);
  close(original);
  std::array<char, 4096> piece;
  for (ssize_t got = 0; (got = read(m_held, piece.data(), piece.size())) > 0;)
    if (write(STDERR_FILENO, piece.data(), static_cast<std::size_t>(got)) < got) return;
}

}  // namespace corvane::inspector
