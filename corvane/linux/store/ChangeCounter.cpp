#include "corvane/linux/store/ChangeCounter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace corvane::defaults_files {

using Clock = std::chrono::steady_clock;

namespace {

constexpr mode_t MODE = 0400;

// Opens the file for writing, changing its mode for a moment; negative, with errno, if that is not permitted.
FileDescriptor openToWrite(const std::string& path) {
  constexpr int ATTEMPTS = 1000;  // others do the same and restore the mode
  for (int attempt = 0;; ++attempt) {
    FileDescriptor file(
        uninterrupted([&] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, MODE); }));
    const int code = errno;
    struct stat status {};
    const bool isOurs = stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
    if (file.get() >= 0) {
      if (isOurs && (status.st_mode & 07777) != MODE) [[maybe_unused]]
        const int ignored = fchmod(file.get(), MODE);
      return file;
    }
    errno = code;
    if (code != EACCES || !isOurs || attempt == ATTEMPTS || chmod(path.c_str(), MODE | S_IWUSR) != 0) return file;
  }
}

}  // namespace

Result<std::unique_ptr<ChangeCounter>> ChangeCounter::open(const std::string& path) {
  FileDescriptor file = openToWrite(path);
  const bool writable = file.get() >= 0;
  if (!writable && (errno == EACCES || errno == EROFS || errno == EPERM))
    file = FileDescriptor(uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  struct stat status {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) return fileFailure(path, errno);
  if (!S_ISREG(status.st_mode)) return failure("defaults", 0, path + ": not a regular file");

  auto counter = std::unique_ptr<ChangeCounter>(new ChangeCounter(path, std::move(file), writable));
  if (writable) {
    // A new file starts from the time, so that the numbers of a deleted file do not recur.
    const auto lock = Lock::take(*counter);
    if (!lock) return passedOn(lock.error());
    if (fstat(counter->m_file.get(), &status) != 0) return fileFailure(path, errno);
    if (status.st_size < off_t{sizeof(std::uint64_t)})
      if (auto begun =
              counter->set(static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()));
          !begun)
        return passedOn(begun.error());
  } else if (status.st_size < off_t{sizeof(std::uint64_t)}) {
    return failure("defaults", 0, path + ": empty");  // if it were mapped, the first read would end the process
  }
  void* mapped = mmap(nullptr, sizeof(std::uint64_t), PROT_READ, MAP_SHARED, counter->m_file.get(), 0);
  if (mapped == MAP_FAILED) return fileFailure(path, errno);
  counter->m_value = static_cast<const std::uint64_t*>(mapped);
  return counter;
}

bool ChangeCounter::isDeleted() const {
  // Not by fstat(), which asks for the file's times too: that makes the next write to it slower.
  struct statx status {};
  return statx(m_file.get(), "", AT_EMPTY_PATH, STATX_NLINK, &status) != 0 || status.stx_nlink == 0;
}

Result<void> ChangeCounter::set(std::uint64_t number) {
  const ssize_t written = uninterrupted([&] { return pwrite(m_file.get(), &number, sizeof number, 0); });
  if (written == ssize_t{sizeof number}) return {};
  return fileFailure(m_path, written < 0 ? errno : ENOSPC);
}

void ChangeCounter::retire() {
  if (m_writable) [[maybe_unused]]
    const auto ignored = set(next());
  m_file = FileDescriptor();
}

Result<ChangeCounter::Lock> ChangeCounter::Lock::take(const ChangeCounter& counter) {
  FileDescriptor file(uninterrupted([&] { return ::open(counter.path().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  if (file.get() < 0) return fileFailure(counter.path(), errno);
  const auto end = Clock::now() + LIMIT;
  while (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return fileFailure(counter.path(), errno);
    if (Clock::now() >= end) return failure("defaults", 0, counter.path() + ": locked by another process for 5 s");
    std::this_thread::sleep_for(PAUSE);
  }
  return Lock(std::move(file));
}

ChangeCounter::~ChangeCounter() {
  if (m_value) munmap(const_cast<std::uint64_t*>(m_value), sizeof *m_value);
}

}  // namespace corvane::defaults_files
