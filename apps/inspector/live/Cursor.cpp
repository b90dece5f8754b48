#include "apps/inspector/live/Cursor.h"

#include <algorithm>

#include "apps/inspector/terminal/Keys.h"

namespace corvane::inspector {

std::optional<std::size_t> Cursor::selected() const {
  return m_isSelected ? std::optional(static_cast<std::size_t>(m_place)) : std::nullopt;
}

bool Cursor::press(int pressed, std::size_t count) {
  const auto last = static_cast<std::ptrdiff_t>(count) - 1;
  // If nothing is selected, moving down selects the row at that place.
  const std::ptrdiff_t down = m_isSelected ? 1 : 0;
  std::ptrdiff_t place = 0;
  switch (pressed) {
    case key::UP:
      place = m_place - 1;
      break;
    case key::DOWN:
      place = m_place + down;
      break;
    case key::PAGE_UP:
      place = m_place - m_height;
      break;
    case key::PAGE_DOWN:
      place = m_place + m_height - 1 + down;
      break;
    case key::HOME:
      break;
    case key::END:
      place = last;
      break;
    default:
      return false;
  }
  if (count > 0) select(static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(place, 0, last)));
  return true;
}

void Cursor::select(std::size_t row) {
  m_place = static_cast<std::ptrdiff_t>(row);
  m_isSelected = true;
}

std::pair<std::size_t, std::size_t> Cursor::shown(std::size_t count, std::size_t height) {
  m_height = std::max<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(height), 1);
  if (m_isSelected) m_first = std::clamp(m_first, m_place - m_height + 1, m_place);
  m_first = std::clamp<std::ptrdiff_t>(m_first, 0,
                                       std::max<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(count) - m_height, 0));
  const auto first = static_cast<std::size_t>(m_first);
  return {first, std::min(count, first + height)};
}

}  // namespace corvane::inspector
