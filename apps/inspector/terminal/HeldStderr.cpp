#include "apps/inspector/terminal/HeldStderr.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace corvane::inspector {

HeldStderr::HeldStderr() {
  static constexpr off_t CAPACITY = off_t{1} << 20U;
  if (isatty(STDERR_FILENO) == 0) return;
  m_held = memfd_create("stderr", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  // A file that cannot grow fails writes beyond its end, so a flood cannot fill the memory.
  if (m_held < 0 || ftruncate(m_held, CAPACITY) != 0) return;
  fcntl(m_held, F_ADD_SEALS, F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL);
  m_original = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  if (m_original >= 0) dup2(m_held, STDERR_FILENO);
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
  const off_t end = lseek(m_held, 0, SEEK_CUR);  // every writer shares the position
  for (off_t at = 0; at < end;) {
    const auto length = std::min<off_t>(end - at, static_cast<off_t>(piece.size()));
    const ssize_t got = pread(m_held, piece.data(), static_cast<std::size_t>(length), at);
    if (got <= 0 || write(STDERR_FILENO, piece.data(), static_cast<std::size_t>(got)) < got) return;
    at += got;
  }
}

}  // namespace corvane::inspector
