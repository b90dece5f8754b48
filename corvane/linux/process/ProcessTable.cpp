#include "corvane/platform/ProcessTable.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstring>
#include <string_view>
#include <system_error>

#include "corvane/core/Files.h"
#include "corvane/linux/process/DeletedRemark.h"
#include "corvane/linux/process/ProcessDescriptor.h"
#include "corvane/linux/process/ProcessText.h"

namespace corvane {

namespace {

constexpr std::string_view PROC = "/proc/";
constexpr char BINFMT[] = "/proc/sys/fs/binfmt_misc";
constexpr std::size_t MAX_ARGUMENTS = 8 << 20;  // more than the kernel's default limit
constexpr std::size_t KERNEL_NAME_LENGTH = 15;  // the length that the kernel keeps of a process name

// The path of a file of a process: "/proc/N/name", or "N/name" below a descriptor of /proc.
class ProcessFile {
 public:
  ProcessFile(pid_t pid, std::string_view name) {
    char* end = std::copy(PROC.begin(), PROC.end(), m_path.data());
    end = std::to_chars(end, m_path.end(), pid).ptr;
    *end++ = '/';
    *std::copy(name.begin(), name.end(), end) = '\0';
  }
  const char* path() const { return m_path.data(); }
  const char* relative() const { return m_path.data() + PROC.size(); }

 private:
  std::array<char, 64> m_path;
};

// The failure of a system call. A missing file means a missing process, because the files always exist.
tl::unexpected<Error> processFailure(pid_t pid, int code = errno) {
  if (code == ENOENT) code = ESRCH;
  return fileFailure(ProcessFile(pid, "").path(), code);
}

tl::unexpected<Error> malformed(const char* path) {
  return failure("posix", EPROTO, std::string(path) + ": not in the expected form");
}

FileDescriptor openFolder(const char* path) {
  return FileDescriptor(uninterrupted([path] { return ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
}

// Reads a file that the kernel writes in one piece, as far as it fits the buffer.
template <std::size_t SIZE>
Result<std::string_view> readText(pid_t pid, std::string_view name, std::array<char, SIZE>& buffer) {
  const ProcessFile path(pid, name);
  const FileDescriptor file(uninterrupted([&path] { return ::open(path.path(), O_RDONLY | O_CLOEXEC); }));
  if (file.get() < 0) return processFailure(pid);
  std::size_t length = 0;
  while (length < SIZE) {
    const ssize_t got = uninterrupted([&] { return ::read(file.get(), buffer.data() + length, SIZE - length); });
    if (got < 0) return processFailure(pid);
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
  }
  return std::string_view(buffer.data(), length);
}

// Calls `visit` with each number that is a name in a folder, until it returns false. False, with errno, on failure.
template <class Visit>
bool eachNumber(int folder, Visit visit) {
  alignas(dirent64) std::array<char, 32768> buffer;
  for (;;) {
    const ssize_t got = ::getdents64(folder, buffer.data(), buffer.size());
    if (got < 0) return false;
    if (got == 0) return true;
    for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
      const auto* entry = reinterpret_cast<const dirent64*>(buffer.data() + at);
      at += entry->d_reclen;
      const char* const end = entry->d_name + std::strlen(entry->d_name);
      int number = 0;
      const auto [parsed, error] = std::from_chars(entry->d_name, end, number);
      if (error == std::errc{} && parsed == end && !visit(number)) return true;
    }
  }
}

// The target of a link of a process, followed by a NUL; false, with errno, if it cannot be read or is longer than any
// path.
bool readLink(int folder, const char* path, std::array<char, PATH_MAX>& buffer, std::string_view& target) {
  const ssize_t length = ::readlinkat(folder, path, buffer.data(), buffer.size());
  if (length < 0) return false;
  if (static_cast<std::size_t>(length) == buffer.size()) {
    errno = ENAMETOOLONG;
    return false;
  }
  buffer[static_cast<std::size_t>(length)] = '\0';
  target = {buffer.data(), static_cast<std::size_t>(length)};
  return true;
}

// Removes the kernel's remark that a file is deleted.
void dropRemark(int folder, const char* link, std::array<char, PATH_MAX>& buffer, std::string_view& target) {
  if (!bearsDeletedRemark(folder, link, buffer.data())) return;
  target.remove_suffix(DELETED_REMARK.size());
  buffer[target.size()] = '\0';
}

std::int64_t nowNsec(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// The name of this machine as used by emulators.
std::string machineName() {
  utsname name{};
  uname(&name);
  const std::string_view machine = name.machine;
  if (machine.size() == 4 && machine[0] == 'i' && machine.ends_with("86")) return "i386";
  if (machine.starts_with("armv")) return "arm";
  return std::string(machine);
}

class LinuxProcessTable : public ProcessTable {
 public:
  std::size_t estimate() override {
    struct sysinfo info {};
    return ::sysinfo(&info) == 0 ? info.procs : 0;  // actually the number of threads
  }

  Result<std::size_t> pids(std::span<pid_t> into) override {
    const FileDescriptor folder = openFolder(PROC.data());
    std::size_t count = 0;
    const bool listed = folder.get() >= 0 && eachNumber(folder.get(), [&](pid_t pid) {
                          if (count < into.size()) into[count] = pid;
                          ++count;
                          return true;
                        });
    if (!listed) return fileFailure(PROC.data(), errno);
    return count;
  }

  Result<void> each(const std::function<void(const ProcessInfo&)>& visit) override {
    const bool translating = translates().value_or(false);
    ProcessInfo info;
    return eachProcess(
        [&](int folder, pid_t pid) {
          const int code = read(folder, pid, info);
          if (code == 0) info.translated = isTranslated(folder, info, translating);
          return code;
        },
        [&](pid_t /*pid*/) {
          visit(info);
          return true;
        });
  }

  Result<void> eachName(const std::function<bool(pid_t, std::string_view)>& visit) override {
    std::string name;
    return eachProcess([&](int folder, pid_t pid) { return readName(folder, pid, name); },
                       [&](pid_t pid) { return visit(pid, name); });
  }

  Result<ProcessInfo> process(pid_t pid) override {
    ProcessInfo info;
    const int code = pid > 0 ? read(AT_FDCWD, pid, info) : ESRCH;
    if (code != 0) return processFailure(pid, code);
    return info;
  }

  Result<ProcessDetails> details(pid_t pid) override {
    // The list of groups alone may take more than a hundred kilobytes, but the lines that are needed come before or
    // after it.
    std::array<char, 16384> buffer;
    const auto text = readText(pid, "status", buffer);
    if (!text) return tl::unexpected(text.error());
    const auto details = readProcessStatus(*text);
    if (!details) return malformed(ProcessFile(pid, "status").path());
    return *details;
  }

  Result<DiskBytes> diskBytes(pid_t pid) override {
    std::array<char, 1024> buffer;
    const auto text = readText(pid, "io", buffer);
    if (!text) return tl::unexpected(text.error());
    const auto bytes = readProcessIo(*text);
    if (!bytes) return malformed(ProcessFile(pid, "io").path());
    return *bytes;
  }

  Result<std::string> path(pid_t pid) override {
    const ProcessFile link(pid, "exe");
    std::array<char, PATH_MAX> buffer;
    std::string_view target;
    if (pid <= 0) return processFailure(pid, ESRCH);
    if (!readLink(AT_FDCWD, link.path(), buffer, target)) return processFailure(pid);
    dropRemark(AT_FDCWD, link.path(), buffer, target);
    return std::string(target);
  }

  Result<std::vector<std::string>> arguments(pid_t pid) override {
    const ProcessFile path(pid, "cmdline");
    const FileDescriptor file(uninterrupted([&path] { return ::open(path.path(), O_RDONLY | O_CLOEXEC); }));
    if (file.get() < 0) return processFailure(pid);
    std::array<char, 16384> buffer;
    std::string text;
    for (ssize_t got = -1; text.size() < MAX_ARGUMENTS; text.append(buffer.data(), static_cast<std::size_t>(got))) {
      got = uninterrupted([&] { return ::read(file.get(), buffer.data(), buffer.size()); });
      if (got < 0) return processFailure(pid);
      if (got == 0) break;
    }
    return argumentsOf(text);
  }

  Result<MemoryRegion> region(pid_t pid, std::uint64_t address) override {
    const ProcessFile path(pid, "smaps");
    const FileDescriptor file(uninterrupted([&path] { return ::open(path.path(), O_RDONLY | O_CLOEXEC); }));
    if (file.get() < 0) return processFailure(pid);
    RegionReader reader(address);
    std::array<char, 2 * PATH_MAX> buffer;
    std::size_t length = 0;
    for (bool more = true; more;) {
      if (length == buffer.size()) length = 0;  // no needed line is that long
      const ssize_t got =
          uninterrupted([&] { return ::read(file.get(), buffer.data() + length, buffer.size() - length); });
      if (got < 0) return processFailure(pid);
      if (got == 0) break;
      length += static_cast<std::size_t>(got);
      std::string_view text(buffer.data(), length);
      for (std::size_t end; more && (end = text.find('\n')) != text.npos; text.remove_prefix(end + 1))
        more = reader.take(text.substr(0, end));
      std::memmove(buffer.data(), text.data(), text.size());
      length = text.size();
    }
    if (!reader.region()) return processFailure(pid, ESRCH);
    return *reader.region();
  }

  Result<std::size_t> descriptors(pid_t pid) override {
    const FileDescriptor folder = openFolder(ProcessFile(pid, "fd").path());
    std::size_t count = 0;
    if (folder.get() < 0 || !eachNumber(folder.get(), [&count](int) { return ++count > 0; }))
      return processFailure(pid);
    return pid == getpid() ? count - 1 : count;
  }

  Result<void> openFiles(pid_t pid, const std::function<void(int, const char*)>& visit) override {
    const FileDescriptor folder = openFolder(ProcessFile(pid, "fd").path());
    if (folder.get() < 0) return processFailure(pid);
    std::array<char, PATH_MAX> buffer;
    int failed = 0;
    const bool listed = eachNumber(folder.get(), [&](int descriptor) {
      if (descriptor == folder.get() && pid == getpid()) return true;
      std::array<char, 16> name{};
      std::to_chars(name.begin(), name.end(), descriptor);
      std::string_view target;
      if (!readLink(folder.get(), name.data(), buffer, target)) {
        failed = errno == ENOENT || errno == EBADF ? 0 : errno;
        return failed == 0;
      }
      // "socket:[1]", "pipe:[1]" and the like are not in the file system; nor is shared memory.
      if (!target.starts_with('/') || target.starts_with("/memfd:")) return true;
      dropRemark(folder.get(), name.data(), buffer, target);
      visit(descriptor, buffer.data());
      return true;
    });
    if (!listed || failed != 0) return processFailure(pid, failed != 0 ? failed : errno);
    return {};
  }

  // The descriptor stays with the process that has the id now; after opening it, the start time is checked.
  Result<void> signal(pid_t pid, std::uint64_t started, int number) override {
    const FileDescriptor descriptor = openProcess(pid);
    if (descriptor.get() < 0) return processFailure(pid, errno);
    const auto now = process(pid);
    if (!now || now->started != started) return processFailure(pid, ESRCH);
    if (::syscall(SYS_pidfd_send_signal, descriptor.get(), number, nullptr, 0) != 0) return processFailure(pid, errno);
    return {};
  }

  Result<bool> translates() override {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(BINFMT), closedir);
    if (!folder) {
      if (errno == ENOENT) return false;
      return fileFailure(BINFMT, errno);
    }
    while (const dirent* entry = readdir(folder.get())) {
      const std::string_view name = entry->d_name;
      if (name == "." || name == ".." || name == "register" || name == "status") continue;
      const FileDescriptor file(::openat(dirfd(folder.get()), entry->d_name, O_RDONLY | O_CLOEXEC));
      std::array<char, 4096> text;
      const ssize_t length = file.get() < 0 ? -1 : ::read(file.get(), text.data(), text.size());
      if (length > 0 && interpretsExecutables({text.data(), static_cast<std::size_t>(length)})) return true;
    }
    return false;
  }

  std::int64_t bootTime() override { return m_bootTime; }

 private:
  // Reads each process, which gives 0 or the errno code, and calls `visit` for it until that returns false.
  template <class Read, class Visit>
  static Result<void> eachProcess(Read read, Visit visit) {
    const FileDescriptor folder = openFolder(PROC.data());
    if (folder.get() < 0) return fileFailure(PROC.data(), errno);
    int refused = 0;  // an error that concerns this process, not the one that it reads
    const bool listed = eachNumber(folder.get(), [&](pid_t pid) {
      const int code = read(folder.get(), pid);
      refused = code == EMFILE || code == ENFILE || code == ENOMEM ? code : 0;
      return code == 0 ? visit(pid) : refused == 0;
    });
    if (!listed || refused != 0) return fileFailure(PROC.data(), refused != 0 ? refused : errno);
    return {};
  }

  // One open and one read. 0, or the errno code.
  int read(int folder, pid_t pid, ProcessInfo& info) const {
    const ProcessFile path(pid, "stat");
    const char* const name = folder == AT_FDCWD ? path.path() : path.relative();
    const FileDescriptor file(uninterrupted([&] { return ::openat(folder, name, O_RDONLY | O_CLOEXEC); }));
    struct stat status {};
    std::array<char, 2048> buffer;
    ssize_t length = -1;
    if (file.get() >= 0) length = uninterrupted([&] { return ::read(file.get(), buffer.data(), buffer.size()); });
    if (length < 0 || fstat(file.get(), &status) != 0) return errno;
    if (length == 0) return ESRCH;
    if (!readProcessStat({buffer.data(), static_cast<std::size_t>(length)}, m_units, info)) return ESRCH;
    info.pid = pid;
    // The files of a protected process belong to root, but its folder always belongs to its user. Checking the folder
    // of every process instead would cost as much for other users' processes as it saves for those of root.
    if (status.st_uid == 0 && !info.kernel) {
      const std::string own(name, std::strlen(name) - std::strlen("/stat"));
      if (fstatat(folder, own.c_str(), &status, 0) != 0) return errno;
    }
    info.uid = status.st_uid;
    info.gid = status.st_gid;
    if (!info.kernel) completeName(folder, pid, info.name);
    return 0;
  }

  // The name alone, of which the kernel makes a text in a fraction of the time that it takes for a stat file.
  static int readName(int folder, pid_t pid, std::string& name) {
    const ProcessFile path(pid, "comm");
    const FileDescriptor file(uninterrupted([&] { return ::openat(folder, path.relative(), O_RDONLY | O_CLOEXEC); }));
    std::array<char, 128> buffer;  // names of kernel threads have up to 63 bytes
    ssize_t length = -1;
    if (file.get() >= 0) length = uninterrupted([&] { return ::read(file.get(), buffer.data(), buffer.size()); });
    if (length < 0) return errno;
    if (length == 0) return ESRCH;
    name.assign(buffer.data(), static_cast<std::size_t>(length) - 1);  // a line feed ends the text
    completeName(folder, pid, name);
    return 0;
  }

  // The file name of the executable, without its path, or an empty text.
  static std::string_view executableName(int folder, pid_t pid, std::array<char, PATH_MAX>& buffer) {
    const ProcessFile link(pid, "exe");
    const char* const name = folder == AT_FDCWD ? link.path() : link.relative();
    std::string_view target;
    if (!readLink(folder, name, buffer, target)) return {};
    dropRemark(folder, name, buffer, target);
    return target.substr(target.rfind('/') + 1);
  }

  static void completeName(int folder, pid_t pid, std::string& name) {
    if (name.size() != KERNEL_NAME_LENGTH) return;
    std::array<char, PATH_MAX> buffer;
    const std::string_view whole = executableName(folder, pid, buffer);
    if (whole.starts_with(name)) name = whole;
  }

  bool isTranslated(int folder, const ProcessInfo& info, bool translating) const {
    // An emulator that was started by name has its own name; one that the kernel started has its guest's.
    const std::string_view name = info.name;
    if (info.kernel || (!translating && !isEmulator(name, m_machine) && !name.starts_with("qemu-"))) return false;
    std::array<char, PATH_MAX> buffer;
    return isEmulator(executableName(folder, info.pid, buffer), m_machine);
  }

  const ProcessUnits m_units{1'000'000'000 / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK)),
                             static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE))};
  const std::int64_t m_bootTime = (nowNsec(CLOCK_REALTIME) - nowNsec(CLOCK_BOOTTIME)) / 1000;
  const std::string m_machine = machineName();
};

}  // namespace

template <>
std::shared_ptr<ProcessTable> makeService<ProcessTable>() {
  return std::make_shared<LinuxProcessTable>();
}

}  // namespace corvane
