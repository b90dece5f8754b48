#include "corvane/infra/LineReader.h"

#include <fcntl.h>

#include <utility>

#include "corvane/core/Files.h"
#include "corvane/core/Log.h"
#include "corvane/core/Text.h"

namespace corvane {

LineReader::LineReader(std::string path) : m_path(std::move(path)) {}

bool LineReader::open() {
  auto file = openForReading(m_path);
  if (!file) return false;
  // Only opening must not block.
  ::fcntl(file->get(), F_SETFL, ::fcntl(file->get(), F_GETFL) & ~O_NONBLOCK);
  m_file.reset(::fdopen(file->get(), m_mode.c_str()));
  if (m_file) file->release();
  return m_file != nullptr;
}

std::optional<std::string> LineReader::readline() {
  if (!m_file && !open()) {
    logNotice("Cannot open file: " + m_path);
    return std::nullopt;
  }
  if (!std::fgets(m_buf.data(), static_cast<int>(m_buf.size()), m_file.get())) return std::nullopt;
  return repaired(m_buf.data());
}

}  // namespace corvane
