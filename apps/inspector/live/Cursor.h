#pragma once

#include <cstddef>
#include <optional>
#include <utility>

namespace corvane::inspector {

/// Which row of a list is selected, if any, and which rows are on the screen.
class Cursor {
 public:
  std::optional<std::size_t> selected() const;

  /// Selects another row of a list of `count` with up, down, page up, page down, home and end; false for other keys.
  bool press(int pressed, std::size_t count);

  /// Selects a row, which may have moved.
  void select(std::size_t row);

  /// The selected row has gone: nothing is selected until a key moves from its place.
  void lose() { m_isSelected = false; }

  /// The first row on the screen and the one behind the last, for a list of `count` rows and a screen of `height`.
  std::pair<std::size_t, std::size_t> shown(std::size_t count, std::size_t height);

 private:
  bool m_isSelected = false;
  std::ptrdiff_t m_place = 0;   // of the selection, or where it was lost
  std::ptrdiff_t m_first = 0;   // the first row on the screen
  std::ptrdiff_t m_height = 1;  // rows on the screen
};

}  // namespace corvane::inspector
