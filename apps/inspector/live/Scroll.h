#pragma once

#include <cstddef>
#include <string>

#include "apps/inspector/text/Frame.h"

namespace corvane::inspector {

/// Which lines of a longer text are on the screen.
class Scroll {
 public:
  /// Where the text is first shown. At its end, new lines are shown too, unless the user has scrolled up.
  enum class Start { BEGINNING, END };

  explicit Scroll(Start start) : m_start(start), m_follows(start == Start::END) {}

  /// Returns to the start.
  void reset() { *this = Scroll(m_start); }

  /// Scrolls with up, down, page up, page down, home and end; false for other keys.
  bool press(int pressed);

  /// The lines that are visible in this number of rows.
  Frame cut(Frame lines, std::size_t rows);

  /// The range of lines that cut() has returned, " (1-9 of 20)"; empty if it was all of them.
  std::string range() const;

 private:
  Start m_start;
  bool m_follows;
  std::ptrdiff_t m_first = 0;
  std::ptrdiff_t m_rows = 1;
  std::ptrdiff_t m_lines = 0;
};

}  // namespace corvane::inspector
