#pragma once

#include <errno.h>
#include <signal.h>
#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Owns a file descriptor, or none (negative).
class CORVANE_API FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : m_fd(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : m_fd(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~FileDescriptor();

  int get() const { return m_fd; }
  int release() { return std::exchange(m_fd, -1); }

 private:
  int m_fd;
};

/// Calls a system function again as long as signals interrupt it.
template <class Function>
auto uninterrupted(Function function) {
  auto result = function();
  while (result < 0 && errno == EINTR) result = function();
  return result;
}

/// Keeps the SIGPIPE that the writes of this thread may raise from the application for the length of a scope. One that
/// was pending before stays. errno is kept.
class CORVANE_API WithoutSigpipe {
 public:
  WithoutSigpipe();
  ~WithoutSigpipe();
  WithoutSigpipe(const WithoutSigpipe&) = delete;
  WithoutSigpipe& operator=(const WithoutSigpipe&) = delete;

 private:
  sigset_t m_before;
  bool m_pending;
};

/// The failure of a system call: domain "posix", the errno code, and what the system says of it.
CORVANE_API tl::unexpected<Error> systemFailure(int code);

/// The failure of a system call on a path: domain "posix", the errno code, and "path: what the system says".
CORVANE_API tl::unexpected<Error> fileFailure(const std::string& path, int code);

/// Opens a file as open(2) does with these flags, close-on-exec and non-blocking: a pipe makes nobody wait, a terminal
/// does not become the process's own.
CORVANE_API Result<FileDescriptor> openFile(const std::string& path, int flags, mode_t mode = 0);

/// Opens for reading what stands at a path. Anything may stand there: a pipe without a writer makes nobody wait.
CORVANE_API Result<FileDescriptor> openForReading(const std::string& path);

/// Reads exactly `size` bytes that begin at an offset; false if the file ends before or cannot be read.
CORVANE_API bool readAllAt(int fd, void* bytes, std::size_t size, off_t offset);

/// Writes all of the bytes; false, with errno, if the system refuses.
CORVANE_API bool writeAll(int fd, std::string_view bytes);

/// Makes a folder and those that lead to it, where they are missing; gives back its path.
CORVANE_API Result<std::string> makeFolders(std::string path);

/// A new file that bears a temporary name beside the one that it is meant for, until it takes that name over, complete
/// and brought to the disk. Otherwise it is removed at the end of the scope; what killed processes have left is removed
/// by the next one that is made in the folder a day later.
class CORVANE_API PendingFile {
 public:
  /// The file gets the mode 0644 less the umask.
  static Result<PendingFile> create(std::string path);

  PendingFile(PendingFile&& other) noexcept;
  PendingFile& operator=(PendingFile&&) = delete;
  ~PendingFile();

  int descriptor() const { return m_file.get(); }

  /// Takes the name from whatever file bears it. A symbolic link is replaced, not followed.
  Result<void> replace();
  /// Takes the name, and fails with EEXIST if something bears it.
  Result<void> claim();

 private:
  PendingFile(std::string path, std::string temporary, FileDescriptor file);
  Result<void> finish(int (*rename)(const char* from, const char* to));

  std::string m_path;
  std::string m_temporary;  // empty when there is nothing to remove
  FileDescriptor m_file;
};

/// Writes a file, all or nothing: on failure the file that was there before is untouched. See PendingFile.
CORVANE_API Result<void> replaceFile(const std::string& path, std::string_view bytes);

}  // namespace corvane
