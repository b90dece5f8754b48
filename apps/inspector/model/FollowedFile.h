#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "corvane/core/Files.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// Follows a text file that others write to, through its rotations: what was appended is read, and nothing twice. A
/// file that has taken the path's place is read from its beginning, after the rest of the one before; so is a file that
/// has become shorter.
class FollowedFile {
 public:
  explicit FollowedFile(std::string path) : m_path(std::move(path)) {}

  const std::string& path() const { return m_path; }

  /// What has come since the last call; of more than `limit` bytes the last ones, from the first whole line. The first
  /// call gives the file's end in this way. An Error if there is nothing to read at the path, unless more has come from
  /// the file before. Never waits for a writer; only regular files are read.
  Result<std::string> read(std::size_t limit);

 private:
  Result<void> open();
  std::string rest(std::size_t limit);
  std::string beginAnew();

  const std::string m_path;
  FileDescriptor m_file;
  off_t m_offset = 0;
  bool m_isInLine = false;  // what was read last did not end one
};

}  // namespace corvane::inspector
