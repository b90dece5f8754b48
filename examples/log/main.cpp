// log: a log that several threads write to and that never grows without bound. Run it some times and look at the files:
// the line that makes the log too large is the last one of its process, whose log becomes an archive.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

#include "corvane/core/Text.h"
#include "corvane/infra/Logger.h"

using corvane::Logger;

namespace {

constexpr const char* USAGE =
    "Usage: log [LINES]\n"
    "Writes as many lines, 1000 unless told otherwise, from two threads, and lists the log and its archives.\n";

void writeLines(std::string_view thread, int lines) {
  for (int line = 1; line <= lines; ++line)
    Logger::instance()->log(std::string(thread) + " thread, line " + std::to_string(line) + " of " +
                            std::to_string(lines));
}

void list(const std::string& path) {
  std::error_code error;
  if (const auto size = std::filesystem::file_size(path, error); !error)
    std::printf("%8ju bytes  %s\n", static_cast<std::uintmax_t>(size), path.c_str());
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view argument = count > 1 ? arguments[1] : "1000";
  if (argument == "--help") return std::fputs(USAGE, stdout) < 0;
  const auto lines = corvane::numberIn<int>(argument);
  if (count > 2 || !lines || *lines < 0) {
    std::fprintf(stderr, "log: the argument must be a number of lines\n%s", USAGE);
    return 2;
  }

  const auto logger = Logger::instance();
  {
    const std::jthread other(writeLines, "the other", *lines / 2);
    writeLines("the main", *lines - *lines / 2);
  }
  logger->close();  // writes a last line, unless the log has ended, and sees to it that all is on the disk

  const auto path = logger->path();
  if (!path || logger->lines() == 0) {
    std::fprintf(stderr, "log: nothing could be written\n");
    return 1;
  }
  std::printf("%lld lines written\n", static_cast<long long>(logger->lines()));
  list(*path);
  for (std::int64_t archive = 0; archive <= Logger::MAX_LOGS; ++archive) list(*path + '.' + std::to_string(archive));
}
