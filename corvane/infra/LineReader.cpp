#include "corvane/infra/LineReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/core/Text.h"

namespace corvane {

namespace {

constexpr std::size_t LIMIT = 1023;  // of a line

}  // namespace

LineReader::LineReader(std::string path) : m_path(std::move(path)) {}

bool LineReader::open() {
  auto file = openForReading(m_path);
  if (!file) return false;
  m_file = std::move(*file);
  // Only opening must not block.
  ::fcntl(m_file.get(), F_SETFL, ::fcntl(m_file.get(), F_GETFL) & ~O_NONBLOCK);
  return true;
}

// Moves what is left to the front and reads more behind it; false on failure.
bool LineReader::readOn() {
  std::copy(m_buffer.begin() + m_begin, m_buffer.begin() + m_end, m_buffer.begin());
  m_end -= std::exchange(m_begin, 0);
  const ssize_t got =
      uninterrupted([&] { return ::read(m_file.get(), m_buffer.data() + m_end, m_buffer.size() - m_end); });
  m_ended = got == 0;
  if (got > 0) m_end += static_cast<std::size_t>(got);
  return got >= 0;
}

std::optional<std::string> LineReader::readline() {
  if (m_file.get() < 0 && !open()) {
    logNotice("Cannot open file: " + m_path);
    return std::nullopt;
  }
  std::string_view line;
  std::size_t feed = line.npos;
  for (;;) {
    line = std::string_view(m_buffer.data() + m_begin, m_end - m_begin).substr(0, LIMIT);
    feed = line.find('\n');
    if (feed != line.npos || line.size() == LIMIT || m_ended) break;
    if (!readOn()) return std::nullopt;
  }
  if (line.empty()) return std::nullopt;
  line = line.substr(0, feed == line.npos ? feed : feed + 1);
  m_begin += line.size();
  std::string text;  // not the constructor: inline, it would copy a few bytes in a way that is fast only for many
  text.assign(line.substr(0, line.find('\0')));
  return repaired(std::move(text));
}

}  // namespace corvane
