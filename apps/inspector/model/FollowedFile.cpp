#include "apps/inspector/model/FollowedFile.h"

#include <sys/stat.h>

#include <utility>

namespace corvane::inspector {

Result<std::string> FollowedFile::read(std::size_t limit) {
  std::string text = rest(limit);
  struct stat here {};
  struct stat there {};
  const bool isSame = m_file.get() >= 0 && fstat(m_file.get(), &here) == 0 && stat(m_path.c_str(), &there) == 0 &&
                      here.st_dev == there.st_dev && here.st_ino == there.st_ino;
  if (isSame) return text;
  text += rest(limit);  // what came between the two looks
  // Without a new one the old one is kept.
  if (const auto opened = open(); !opened)
    return text.empty() ? Result<std::string>(tl::unexpected(opened.error())) : Result<std::string>(text);
  text += beginAnew();
  return text += rest(limit);
}

// Other text follows than what the file held; what must precede it.
std::string FollowedFile::beginAnew() {
  m_offset = 0;
  return std::exchange(m_isInLine, false) ? "\n" : "";
}

Result<void> FollowedFile::open() {
  auto file = openForReading(m_path);
  if (!file) return tl::unexpected(file.error());
  struct stat status {};
  if (fstat(file->get(), &status) != 0) return fileFailure(m_path, errno);
  if (!S_ISREG(status.st_mode)) return failure("inspector", 0, m_path + ": Not a regular file");
  m_file = std::move(*file);
  return {};
}

std::string FollowedFile::rest(std::size_t limit) {
  struct stat status {};
  if (m_file.get() < 0 || fstat(m_file.get(), &status) != 0) return {};
  const std::string before = status.st_size < m_offset ? beginAnew() : "";
  const std::string text = readRest(m_file.get(), m_offset, limit);
  if (!text.empty()) m_isInLine = text.back() != '\n';
  return before + text;
}

}  // namespace corvane::inspector
