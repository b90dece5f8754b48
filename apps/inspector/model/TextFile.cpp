#include "apps/inspector/model/TextFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "corvane/core/Files.h"

namespace corvane::inspector {

namespace {

std::optional<std::string> readFrom(int fd, std::size_t limit) {
  static constexpr std::size_t STEP = 8192;
  std::string text;
  while (text.size() < limit) {
    const std::size_t filled = text.size();
    text.resize(std::min(filled + STEP, limit));
    const ssize_t got = read(fd, text.data() + filled, text.size() - filled);
    text.resize(filled + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got == 0) break;
    if (got < 0 && errno != EINTR) return std::nullopt;
  }
  return text;
}

constexpr std::string_view BLANKS = " \t\r\n\v\f";

}  // namespace

std::optional<std::string> readText(const std::string& path, std::size_t limit) {
  const auto file = openForReading(path);
  return file ? readFrom(file->get(), limit) : std::nullopt;
}

std::optional<std::string> readTail(const std::string& path, std::size_t limit) {
  const auto file = openForReading(path);
  struct stat status {};
  if (!file || fstat(file->get(), &status) != 0) return std::nullopt;
  const auto start = std::max<off_t>(0, status.st_size - static_cast<off_t>(limit));
  if (lseek(file->get(), start, SEEK_SET) < 0) return std::nullopt;
  auto text = readFrom(file->get(), limit);
  if (text && start > 0) text->erase(0, text->find('\n') + 1);
  return text;
}

Result<void> writeText(const std::string& path, std::string_view text) {
  const FileDescriptor file(
      uninterrupted([&path] { return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666); }));
  if (file.get() < 0 || !writeAll(file.get(), text)) return fileFailure(path, errno);
  return {};
}

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  for (auto begin = line.find_first_not_of(BLANKS); begin != line.npos; begin = line.find_first_not_of(BLANKS)) {
    line.remove_prefix(begin);
    fields.push_back(line.substr(0, line.find_first_of(BLANKS)));
    line.remove_prefix(fields.back().size());
  }
  return fields;
}

}  // namespace corvane::inspector
