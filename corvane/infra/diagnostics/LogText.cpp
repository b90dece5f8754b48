#include "corvane/infra/diagnostics/LogText.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <ranges>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/infra/Logger.h"

namespace corvane {

namespace {

// The log or one of its archives.
struct Part {
  FileDescriptor file;
  std::uint64_t id = 0;
  std::uint64_t size = 0;
};

std::optional<Part> openPart(const std::string& path) {
  auto file = openForReading(path);
  struct stat status {};
  if (!file || fstat(file->get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return Part{std::move(*file), status.st_ino, static_cast<std::uint64_t>(status.st_size)};
}

std::string archive(const std::string& path, std::int64_t number) {
  return path + "." + std::to_string(number);
}

// The parts that hold what came after a place, newest first; only the newest one if the place is in none.
std::vector<Part> partsSince(const std::string& path, const LogPlace& place) {
  std::vector<Part> parts;
  for (std::int64_t number = -1; number <= Logger::MAX_LOGS; ++number) {
    auto part = openPart(number < 0 ? path : archive(path, number));
    // The same one comes again if the log was rotated in between.
    if (!part || std::ranges::find(parts, part->id, &Part::id) != parts.end()) continue;
    parts.push_back(std::move(*part));
    if (place.file == 0 || parts.back().id == place.file) return parts;
  }
  if (parts.size() > 1) parts.erase(parts.begin() + 1, parts.end());
  return parts;
}

}  // namespace

LogState readLog(std::string path, const LogPlace& after, std::size_t limit) {
  LogState log{.path = std::move(path), .size = {}, .archives = 0, .lines = 0, .text = {}, .place = after};
  struct stat status {};
  if (stat(log.path.c_str(), &status) == 0) log.size = static_cast<std::uint64_t>(status.st_size);
  for (std::int64_t number = 0; number <= Logger::MAX_LOGS; ++number)
    if (stat(archive(log.path, number).c_str(), &status) == 0) ++log.archives;
  const auto parts = partsSince(log.path, after);
  for (const Part& part : parts | std::views::reverse) {
    const bool isPlace = part.id == after.file && after.offset <= part.size;
    auto offset = static_cast<off_t>(isPlace ? after.offset : 0);
    log.text += readRest(part.file.get(), offset, limit);
    log.place = {.file = part.id, .offset = static_cast<std::uint64_t>(offset)};
  }
  if (log.text.size() > limit) log.text.erase(0, log.text.find('\n', log.text.size() - limit) + 1);
  return log;
}

}  // namespace corvane
