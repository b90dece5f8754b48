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

/// Owns a file descriptor, or nothing (negative).
class CORVANE_API FileDescriptor {
 public:
  /// Takes over the descriptor.
  explicit FileDescriptor(int fd = -1) : m_fd(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : m_fd(other.release()) {}
  /// Gives up what it holds for what the other holds.
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~FileDescriptor();

  int get() const { return m_fd; }  ///< the descriptor, or a negative number
  /// Gives the descriptor to the caller, who must close it.
  int release() { return std::exchange(m_fd, -1); }

 private:
  int m_fd;
};

/// Calls a system function again for as long as signals interrupt it.
template <class Function>
auto uninterrupted(Function function) {
  auto result = function();
  while (result < 0 && errno == EINTR) result = function();
  return result;
}

/// For the length of a scope, hides from the application any SIGPIPE that this thread's writes raise. One that was
/// already pending stays. errno is preserved.
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

/// The failure of a system call: domain "posix", the errno code, and the system's description.
CORVANE_API tl::unexpected<Error> systemFailure(int code);

/// The failure of a system call on a path: domain "posix", the errno code, and "PATH: the system's description".
CORVANE_API tl::unexpected<Error> fileFailure(const std::string& path, int code);

/// Opens a file as open(2) does with these flags, close-on-exec and non-blocking: a pipe does not block, and a terminal
/// does not become the controlling terminal.
CORVANE_API Result<FileDescriptor> openFile(const std::string& path, int flags, mode_t mode = 0);

/// Opens a path for reading, whatever it is. A pipe without a writer does not block.
CORVANE_API Result<FileDescriptor> openForReading(const std::string& path);

/// Reads exactly `size` bytes from an offset on; false if the file ends before that or cannot be read.
CORVANE_API bool readAllAt(int fd, void* bytes, std::size_t size, off_t offset);

/// What a file holds from an offset on; of more than `limit` bytes the last ones, from the first whole line. The offset
/// moves to the end of what was read.
CORVANE_API std::string readRest(int fd, off_t& offset, std::size_t limit);

/// Writes all of the bytes; false, with errno, if the system refuses.
CORVANE_API bool writeAll(int fd, std::string_view bytes);

/// Creates a folder and its missing parents; returns its path.
CORVANE_API Result<std::string> makeFolders(std::string path);

/// A new file with a temporary name in the folder of its final path. It takes over the final name once it is complete
/// and synced to disk; otherwise it is removed at the end of the scope. Files left behind by killed processes are
/// removed when the next one is created in the folder, a day later or more.
class CORVANE_API PendingFile {
 public:
  /// The file gets the mode 0644 less the umask.
  static Result<PendingFile> create(std::string path);

  PendingFile(PendingFile&& other) noexcept;
  PendingFile& operator=(PendingFile&&) = delete;
  ~PendingFile();

  int descriptor() const { return m_file.get(); }  ///< the file to write to

  /// Takes over the name from any file that has it. A symbolic link is replaced, not followed.
  Result<void> replace();
  /// Takes the name; fails with EEXIST if it is already in use.
  Result<void> claim();

 private:
  PendingFile(std::string path, std::string temporary, FileDescriptor file);
  Result<void> finish(int (*rename)(const char* from, const char* to));

  std::string m_path;
  std::string m_temporary;  // empty when there is nothing to remove
  FileDescriptor m_file;
};

/// Writes a file, all or nothing: on failure an existing file is untouched. See PendingFile.
CORVANE_API Result<void> replaceFile(const std::string& path, std::string_view bytes);

}  // namespace corvane
