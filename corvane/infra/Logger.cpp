#include "corvane/infra/Logger.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "corvane/core/Files.h"
#include "corvane/core/Log.h"
#include "corvane/core/SharedInstance.h"
#include "corvane/core/Text.h"
#include "corvane/core/Timeval.h"
#include "corvane/infra/Bundle.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

// The name of the log file: the identifier's last part.
std::string fileNameOf(const std::string& identifier) {
  const std::size_t end = identifier.find_last_not_of('.');
  if (end == std::string::npos) return std::string(Logger::TMP_LOG);
  const std::size_t dot = identifier.rfind('.', end);
  return identifier.substr(dot + 1, end - dot) + ".log";
}

Result<std::string> folderOf(const std::string& identifier) {
  return platform().folders().library().map(
      [&identifier](const std::string& library) { return library + "/Logs/" + identifier; });
}

constexpr LogSink SINK = {
    [](std::string_view message) { Logger::instance()->log(message); },
    [] { return Bundle::mainBundle()->identifier().has_value(); },
};

// Registered when the library is loaded, because the core writes to the log too.
[[maybe_unused]] const bool s_registered = [] {
  setLogSink(&SINK);
  return true;
}();

}  // namespace

// The open log file. Each line is appended in a single write, so that the lines of several processes do not mix.
class Logger::File {
 public:
  static std::unique_ptr<File> open(const std::string& path) {
    // Non-blocking: if there is a pipe in place of the log, this does not wait for its reader.
    FileDescriptor descriptor(uninterrupted(
        [&path] { return ::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666); }));
    return descriptor.get() < 0 ? nullptr : std::unique_ptr<File>(new File(std::move(descriptor)));
  }

  // False if there was no room for it.
  bool append(std::string_view line) {
    const ssize_t written = uninterrupted([&] { return write(m_descriptor.get(), line.data(), line.size()); });
    if (written == static_cast<ssize_t>(line.size())) return true;
    if (written <= 0) return false;
    // The disk became full in the middle of the line. Remove the piece, unless another process has written after it.
    const off_t end = lseek(m_descriptor.get(), 0, SEEK_CUR);
    if (end >= written && end == size()) [[maybe_unused]]
      const int code = ftruncate(m_descriptor.get(), end - written);
    return false;
  }

  // By seeking, not by fstat: on Linux, reading a file's times makes the next write to it several times slower.
  std::int64_t size() const { return lseek(m_descriptor.get(), 0, SEEK_END); }

  // Keeps other processes from rotating the file until it is closed; false if one of them is doing so. On a file system
  // without locks the log must not grow forever.
  bool claim() {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(m_descriptor.get(), F_SETLK, &whole) == 0 || (errno != EAGAIN && errno != EACCES);
  }

  // Whether a path refers to this file, as that of the log does until a process has rotated it.
  bool isAt(const std::string& path) const {
    struct stat own {};
    struct stat named {};
    return fstat(m_descriptor.get(), &own) == 0 && stat(path.c_str(), &named) == 0 && own.st_dev == named.st_dev &&
           own.st_ino == named.st_ino;
  }

  void sync() { fsync(m_descriptor.get()); }

 private:
  explicit File(FileDescriptor descriptor) : m_descriptor(std::move(descriptor)) {}
  const FileDescriptor m_descriptor;
};

std::shared_ptr<Logger> Logger::instance() {
  return SharedInstance<Logger>::get();
}

std::shared_ptr<Logger> Logger::existing() {
  return SharedInstance<Logger>::existing();
}

void Logger::setInstance(std::shared_ptr<Logger> logger) {
  SharedInstance<Logger>::set(std::move(logger));
}

Logger::Logger() : m_fname(TMP_LOG) {
  const auto bundle = Bundle::mainBundle();
  const auto identifier = bundle->identifier();
  if (!identifier) return;
  m_identifier = *identifier;
  m_fname = fileNameOf(*identifier);
  MutexLock lock(m_mutex);
  openLog();
  if (const auto name = bundle->bundleName()) writeLine("Logging begins for: " + *name);
}

Logger::~Logger() = default;

void Logger::log(std::string_view message) {
  MutexLock lock(m_mutex);
  writeLine(message);
}

void Logger::close() {
  MutexLock lock(m_mutex);
  if (!m_file) return;
  if (const auto name = Bundle::mainBundle()->bundleName()) writeLine("Logging ends for: " + *name);
  if (m_file) m_file->sync();
  m_file.reset();
}

void Logger::displayLog() {
  const auto folder = findLogPath();
  if (!folder) return;
  const auto opened = platform().workspace().open(*folder + "/" + m_fname);
  if (!opened) logNotice("displayLog: " + opened.error().description);
}

void Logger::showInFinder() {
  const auto folder = findLogPath();
  if (!folder) return;
  const auto shown = platform().workspace().reveal(*folder);
  if (!shown) logNotice("showInFinder: " + shown.error().description);
}

std::optional<std::string> Logger::path() const {
  const auto folder = findLogPath();
  return folder ? std::optional(*folder + "/" + m_fname) : std::nullopt;
}

std::optional<std::string> Logger::path(const std::string& identifier) {
  const auto folder = folderOf(identifier);
  return folder ? std::optional(*folder + "/" + fileNameOf(identifier)) : std::nullopt;
}

std::int64_t Logger::lines() const {
  MutexLock lock(m_mutex);
  return m_lines;
}

std::optional<std::string> Logger::findLogPath() {
  const auto identifier = Bundle::mainBundle()->identifier();
  if (!identifier) return std::nullopt;
  auto folder = folderOf(*identifier).and_then(makeFolders);
  if (folder) return std::move(*folder);
  systemLog("findLogPath: " + folder.error().description);
  return std::nullopt;
}

void Logger::openLog() {
  if (m_file) return;
  if (const auto folder = findLogPath()) m_file = File::open(*folder + "/" + m_fname);
}

void Logger::rotate() {
  if (!m_file->claim()) return;  // the next line checks again
  const auto log = path();
  if (log && !m_file->isAt(*log)) {
    m_file = File::open(*log);
    return;
  }
  if (log) {
    const auto archive = [&log](std::int64_t number) { return *log + "." + std::to_string(number); };
    unlink(archive(MAX_LOGS).c_str());
    for (std::int64_t number = MAX_LOGS; number > 0; --number)
      ::rename(archive(number - 1).c_str(), archive(number).c_str());
    ::rename(log->c_str(), archive(0).c_str());
    systemLog("The log is full, has become " + archive(0) + " and ends here until the next start");
  }
  m_file.reset();
}

void Logger::writeLine(std::string_view message) {
  message = trimmed(message);
  if (message.empty()) return;
  if (m_identifier.empty()) Bundle::mainBundle()->requiredIdentifier("Logger");
  if (!m_file) return;
  std::string line;
  line.reserve(64 + m_identifier.size() + message.size());
  line.append(Timeval().timestamp()).append(1, ' ').append(std::to_string(getpid())).append(1, ' ');
  line.append(m_identifier).append(1, ' ').append(message).append(1, '\n');
  if (m_file->append(line)) ++m_lines;
  if (m_file->size() > MAX_LOG_SIZE) rotate();
}

}  // namespace corvane
