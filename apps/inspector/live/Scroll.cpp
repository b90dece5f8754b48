#include "apps/inspector/live/Scroll.h"

#include <algorithm>

#include "apps/inspector/terminal/Keys.h"

namespace corvane::inspector {

bool Scroll::press(int pressed) {
  const std::ptrdiff_t last = std::max<std::ptrdiff_t>(m_lines - m_rows, 0);
  std::ptrdiff_t first = m_first;
  switch (pressed) {
    case key::UP:
      --first;
      break;
    case key::DOWN:
      ++first;
      break;
    case key::PAGE_UP:
      first -= m_rows;
      break;
    case key::PAGE_DOWN:
      first += m_rows;
      break;
    case key::HOME:
      first = 0;
      break;
    case key::END:
      first = last;
      break;
    default:
      return false;
  }
  m_first = std::clamp<std::ptrdiff_t>(first, 0, last);
  m_follows = m_start == Start::END && m_first == last;
  return true;
}

Frame Scroll::cut(Frame lines, std::size_t rows) {
  m_lines = std::ssize(lines);
  m_rows = static_cast<std::ptrdiff_t>(std::max<std::size_t>(rows, 1));
  const std::ptrdiff_t last = std::max<std::ptrdiff_t>(m_lines - m_rows, 0);
  m_first = m_follows ? last : std::min(m_first, last);
  lines.erase(lines.begin(), lines.begin() + m_first);
  if (lines.size() > rows) lines.resize(rows);
  return lines;
}

std::string Scroll::range() const {
  if (m_lines <= m_rows) return {};
  return " (" + std::to_string(m_first + 1) + "-" + std::to_string(std::min(m_first + m_rows, m_lines)) + " of " +
         std::to_string(m_lines) + ")";
}

}  // namespace corvane::inspector
