#pragma once

#include <sys/types.h>

#include <string>

#include "corvane/core/Files.h"

namespace corvane::inspector {

/// A log file that is being shown: kept open, so that it stays the same file under any name, together with how much of
/// it has been shown.
class OpenLog {
 public:
  static Result<OpenLog> open(const std::string& path);

  /// Skips all but the last `lines` lines; returns how many lines the file lacks.
  unsigned skipToTail(unsigned lines);

  /// Shows what has not been shown yet; from the beginning if the file has become shorter. Returns the errno code of
  /// the output.
  int show();

  bool isSameAs(const OpenLog& other) const { return m_device == other.m_device && m_inode == other.m_inode; }
  /// True if this file has that name now.
  bool isAt(const std::string& path) const;

 private:
  OpenLog(FileDescriptor file, dev_t device, ino_t inode) : m_file(std::move(file)), m_device(device), m_inode(inode) {}
  off_t size() const;

  FileDescriptor m_file;
  dev_t m_device;
  ino_t m_inode;
  off_t m_shown = 0;
};

}  // namespace corvane::inspector
