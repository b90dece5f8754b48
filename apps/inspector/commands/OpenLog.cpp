#include "apps/inspector/commands/OpenLog.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "apps/common/Output.h"

namespace corvane::inspector {

namespace {

using Block = std::array<char, 32768>;

// The content of a file from a position on, limited by the block's size and the end.
std::string_view read(int fd, off_t from, off_t end, Block& block) {
  const auto wanted = std::min(static_cast<std::size_t>(std::max<off_t>(0, end - from)), block.size());
  const ssize_t got = uninterrupted([&] { return pread(fd, block.data(), wanted, from); });
  return {block.data(), static_cast<std::size_t>(std::max<ssize_t>(0, got))};
}

}  // namespace

Result<OpenLog> OpenLog::open(const std::string& path) {
  auto file = openForReading(path);
  if (!file) return tl::unexpected(file.error());
  struct stat status {};
  if (fstat(file->get(), &status) != 0) return fileFailure(path, errno);
  if (!S_ISREG(status.st_mode)) return failure("posix", 0, path + ": not a regular file");
  return OpenLog(std::move(*file), status.st_dev, status.st_ino);
}

off_t OpenLog::size() const {
  return lseek(m_file.get(), 0, SEEK_END);
}

unsigned OpenLog::skipToTail(unsigned lines) {
  Block block;
  m_shown = size();
  if (lines == 0 || m_shown == 0) return lines;
  // The line feed at the very end does not begin a line.
  off_t end = m_shown - 1;
  while (end > 0) {
    const off_t begin = std::max<off_t>(0, end - static_cast<off_t>(block.size()));
    const std::string_view text = read(m_file.get(), begin, end, block);
    for (std::size_t i = text.size(); i-- > 0;) {
      if (text[i] != '\n' || --lines > 0) continue;
      m_shown = begin + static_cast<off_t>(i) + 1;
      return 0;
    }
    end = begin;
  }
  m_shown = 0;
  return lines - 1;
}

int OpenLog::show() {
  Block block;
  const off_t end = size();
  if (end < m_shown) m_shown = 0;
  while (m_shown < end) {
    const std::string_view text = read(m_file.get(), m_shown, end, block);
    if (text.empty()) break;
    if (const int error = writeOut(text)) return error;
    m_shown += static_cast<off_t>(text.size());
  }
  return 0;
}

bool OpenLog::isAt(const std::string& path) const {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && status.st_dev == m_device && status.st_ino == m_inode;
}

}  // namespace corvane::inspector
