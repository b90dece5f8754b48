#include "corvane/core/Files.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <system_error>

namespace corvane {

FileDescriptor::~FileDescriptor() {
  if (m_fd >= 0) ::close(m_fd);
}

namespace {

sigset_t sigpipe() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  return signals;
}

}  // namespace

WithoutSigpipe::WithoutSigpipe() {
  const sigset_t signals = sigpipe();
  pthread_sigmask(SIG_BLOCK, &signals, &m_before);
  sigset_t pending;
  sigpending(&pending);
  m_pending = sigismember(&pending, SIGPIPE) == 1;
}

WithoutSigpipe::~WithoutSigpipe() {
  const int code = errno;
  const sigset_t signals = sigpipe();
  const timespec now{};
  if (!m_pending) uninterrupted([&] { return sigtimedwait(&signals, nullptr, &now); });
  pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
  errno = code;
}

tl::unexpected<Error> systemFailure(int code) {
  return failure("posix", code, std::generic_category().message(code));
}

tl::unexpected<Error> fileFailure(const std::string& path, int code) {
  return failure("posix", code, path + ": " + std::generic_category().message(code));
}

Result<FileDescriptor> openFile(const std::string& path, int flags, mode_t mode) {
  FileDescriptor file(
      uninterrupted([&] { return ::open(path.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode); }));
  if (file.get() < 0) return fileFailure(path, errno);
  return file;
}

Result<FileDescriptor> openForReading(const std::string& path) {
  return openFile(path, O_RDONLY);
}

bool readAllAt(int fd, void* bytes, std::size_t size, off_t offset) {
  for (auto* to = static_cast<char*>(bytes); size > 0;) {
    const ssize_t got = uninterrupted([&] { return ::pread(fd, to, size, offset); });
    if (got <= 0) return false;
    to += got;
    offset += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

std::string readRest(int fd, off_t& offset, std::size_t limit) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || status.st_size <= offset) return {};
  const auto rest = static_cast<std::size_t>(status.st_size - offset);
  std::string text(std::min(rest, limit), '\0');
  const bool isCut = text.size() < rest;
  const off_t start = status.st_size - static_cast<off_t>(text.size());
  std::size_t filled = 0;
  while (filled < text.size()) {
    const ssize_t got = uninterrupted(
        [&] { return ::pread(fd, text.data() + filled, text.size() - filled, start + static_cast<off_t>(filled)); });
    if (got <= 0) break;
    filled += static_cast<std::size_t>(got);
  }
  text.resize(filled);
  offset = start + static_cast<off_t>(filled);
  if (isCut) text.erase(0, text.find('\n') + 1);
  return text;
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = uninterrupted([&] { return ::write(fd, bytes.data(), bytes.size()); });
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

Result<std::string> makeFolders(std::string path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) return fileFailure(path, error.value());
  return path;
}

namespace {

// The beginning and end of the names of pending files.
constexpr std::string_view TEMPORARY = ".corvane-";
constexpr std::string_view TEMPORARY_END = ".tmp";

// Removes what killed writers have left in a folder: files that have not been written to for a day.
void removeAbandoned(const std::filesystem::path& folder) {
  namespace fs = std::filesystem;
  const auto yesterday = fs::file_time_type::clock::now() - std::chrono::hours(24);
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (!name.starts_with(TEMPORARY) || !name.ends_with(TEMPORARY_END)) continue;
    std::error_code ignored;
    if (const auto time = entry->last_write_time(ignored); !ignored && time < yesterday)
      fs::remove(entry->path(), ignored);
  }
}

}  // namespace

Result<PendingFile> PendingFile::create(std::string path) {
  static std::atomic<unsigned> counter = 0;
  // A process that has died may have left a file with the same name, because process ids are reused.
  constexpr int ATTEMPTS = 100;
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  std::string name;
  Result<FileDescriptor> file;
  for (int i = 0; i < ATTEMPTS; ++i) {
    name = folder + std::string(TEMPORARY) + std::to_string(::getpid()) + "-" + std::to_string(counter++) +
           std::string(TEMPORARY_END);
    file = openFile(name, O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (file || file.error().code != EEXIST) break;
  }
  if (!file) return fileFailure(path, file.error().code);
  removeAbandoned(folder.empty() ? "." : folder);
  return PendingFile(std::move(path), std::move(name), std::move(*file));
}

PendingFile::PendingFile(std::string path, std::string temporary, FileDescriptor file)
    : m_path(std::move(path)), m_temporary(std::move(temporary)), m_file(std::move(file)) {}

PendingFile::PendingFile(PendingFile&& other) noexcept
    : m_path(std::move(other.m_path)),
      m_temporary(std::exchange(other.m_temporary, {})),
      m_file(std::move(other.m_file)) {}

PendingFile::~PendingFile() {
  if (!m_temporary.empty()) ::unlink(m_temporary.c_str());
}

Result<void> PendingFile::finish(int (*rename)(const char* from, const char* to)) {
  if (uninterrupted([this] { return ::fsync(m_file.get()); }) < 0 || rename(m_temporary.c_str(), m_path.c_str()) < 0)
    return fileFailure(m_path, errno);
  m_temporary.clear();
  return {};
}

Result<void> PendingFile::replace() {
  return finish(::rename);
}

Result<void> PendingFile::claim() {
  return finish([](const char* from, const char* to) {
    if (::link(from, to) == 0) {
      ::unlink(from);
      return 0;
    }
    if (errno == EEXIST) return -1;
    // The file system has no hard links: an empty file takes the name first.
    const FileDescriptor taken(
        uninterrupted([to] { return ::open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644); }));
    if (taken.get() < 0) return -1;
    if (::rename(from, to) == 0) return 0;
    const int code = errno;
    ::unlink(to);
    errno = code;
    return -1;
  });
}

Result<void> replaceFile(const std::string& path, std::string_view bytes) {
  auto file = PendingFile::create(path);
  if (!file) return tl::unexpected(file.error());
  if (!writeAll(file->descriptor(), bytes)) return fileFailure(path, errno);
  return file->replace();
}

}  // namespace corvane
