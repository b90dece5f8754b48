#pragma once

#include <string>

#include "corvane/core/Files.h"
#include "corvane/linux/helper/service/HelperFiles.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// A copy of a program in memory that nobody can change any more. What is checked and what is installed are the same
/// bytes, whatever happens to the original meanwhile.
class HelperImage {
 public:
  /// Copies an open file from its beginning. An Error unless it is a regular file of at most HelperLimits::PROGRAM
  /// bytes. May take as long as the file's owner wants, who may serve the file system.
  static Result<HelperImage> take(FileDescriptor source);

  /// What the helper says about itself; an Error unless the copy is a program for this machine that says so for this
  /// label.
  Result<HelperInfo> inspect(const std::string& label) const;

  int descriptor() const { return m_memory.get(); }
  /// Of its bytes, in hexadecimal digits.
  const std::string& sha256() const { return m_sha256; }

 private:
  HelperImage(FileDescriptor memory, std::string sha256) : m_memory(std::move(memory)), m_sha256(std::move(sha256)) {}

  FileDescriptor m_memory;
  std::string m_sha256;
};

}  // namespace corvane
