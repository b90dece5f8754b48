#include "apps/inspector/commands/Log.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <ranges>
#include <string>
#include <vector>

#include "apps/common/Output.h"
#include "apps/inspector/commands/OpenLog.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Logger.h"

namespace corvane::inspector {

namespace {

std::string archiveOf(const std::string& path, unsigned number) {
  return path + "." + std::to_string(number);
}

int listArchives(const std::string& path) {
  std::string text = "Archive      Bytes  Last line written\n";
  for (unsigned number = 0; number <= Logger::MAX_LOGS; ++number) {
    struct stat status {};
    if (stat(archiveOf(path, number).c_str(), &status) != 0) continue;
    tm local{};
    localtime_r(&status.st_mtime, &local);
    char line[80];
    const int length = std::snprintf(line, sizeof line, "%7u %10lld  %04d/%02d/%02d %02d:%02d:%02d\n", number,
                                     static_cast<long long>(status.st_size), local.tm_year + 1900, local.tm_mon + 1,
                                     local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    text.append(line, static_cast<std::size_t>(length));
  }
  return statusAfterOutput(writeOut(text));
}

// The logs after the one shown, the newest first: several if the log has been rotated more than once meanwhile.
std::vector<OpenLog> successors(const std::string& path, const std::optional<OpenLog>& shown) {
  std::vector<OpenLog> logs;
  if (auto live = OpenLog::open(path)) logs.push_back(std::move(*live));
  if (!shown) return logs;
  const std::size_t without = logs.size();
  for (unsigned number = 0; number <= Logger::MAX_LOGS; ++number) {
    auto archive = OpenLog::open(archiveOf(path, number));
    if (!archive) continue;
    if (archive->isSameAs(*shown)) return logs;
    // A rotation at this very moment may list a file twice.
    const auto isArchive = [&](const OpenLog& log) { return log.isSameAs(*archive); };
    if (std::ranges::none_of(logs, isArchive)) logs.push_back(std::move(*archive));
  }
  logs.erase(logs.begin() + static_cast<std::ptrdiff_t>(without), logs.end());  // the one shown has been deleted
  return logs;
}

// Shows new lines until the output fails or no longer has a reader.
int follow(const std::string& path, std::optional<OpenLog> log) {
  static constexpr int INTERVAL_MSEC = 200;
  pollfd output = {.fd = STDOUT_FILENO, .events = 0, .revents = 0};
  for (;;) {
    const bool replaced =
        !log || !log->isAt(path);  // checked first: the process that moves a log has written its last line
    if (const int error = log ? log->show() : 0) return error;
    if (replaced) {
      for (OpenLog& next : successors(path, log) | std::views::reverse) {
        if (const int error = next.show()) return error;
        log = std::move(next);
      }
    }
    if (poll(&output, 1, INTERVAL_MSEC) > 0) return 0;
  }
}

int showArchive(const std::string& path, unsigned lines) {
  auto archive = OpenLog::open(path);
  if (!archive) return fail(archive.error().description);
  archive->skipToTail(lines);
  return statusAfterOutput(archive->show());
}

// The archives that contain the last `lines` lines, the newest first.
std::vector<OpenLog> newestArchives(const std::string& path, unsigned lines) {
  std::vector<OpenLog> archives;
  for (unsigned number = 0; number <= Logger::MAX_LOGS && lines > 0; ++number) {
    auto archive = OpenLog::open(archiveOf(path, number));
    if (!archive) continue;
    lines = archive->skipToTail(lines);
    archives.push_back(std::move(*archive));
  }
  return archives;
}

}  // namespace

int showLog(const Arguments& arguments) {
  const auto options = LogOptions::parse(arguments);
  if (!options) return failUsage(options.error());
  const auto own = Bundle::mainBundle()->identifier();
  if (options->identifier.empty() && !own)
    return fail("log: this program keeps no log; name another with --identifier");
  const auto path = Logger::path(options->identifier.empty() ? *own : options->identifier);
  if (!path) return fail("log: the user's home folder is unknown");
  std::signal(SIGPIPE, SIG_IGN);
  if (options->listArchives) return listArchives(*path);

  if (options->archive) return showArchive(archiveOf(*path, *options->archive), options->lines);
  auto log = OpenLog::open(*path);
  std::vector<OpenLog> archives;
  const unsigned missing = log ? log->skipToTail(options->lines) : options->lines;
  if (missing > 0) archives = newestArchives(*path, missing);
  if (!log && archives.empty() && !options->follow) return fail(log.error().description);
  for (OpenLog& archive : archives | std::views::reverse)
    if (const int error = archive.show()) return statusAfterOutput(error);
  if (const int error = log ? log->show() : 0) return statusAfterOutput(error);
  if (!options->follow) return 0;
  return statusAfterOutput(follow(*path, log ? std::optional(std::move(*log)) : std::nullopt));
}

}  // namespace corvane::inspector
