#pragma once

#include <memory>
#include <optional>
#include <string>

#include "apps/inspector/terminal/HeldStderr.h"
#include "apps/inspector/terminal/TerminalGuard.h"
#include "apps/inspector/text/Frame.h"

namespace corvane::inspector {

/// The terminal as a full screen, from open() to the destructor. The terminal is restored however the process ends. On
/// the main queue only.
class Screen {
 public:
  /// Null if standard input and output are not a terminal that can show a screen.
  static std::unique_ptr<Screen> open();

  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  int rows() const;
  int columns() const;

  void show(const Frame& frame);

  /// The next key that was pressed (see Keys.h); std::nullopt if there is none.
  std::optional<int> readKey();

  /// Adapts to the terminal's new size.
  void resize();

  /// Makes the next show() redraw everything, whatever the terminal shows.
  void redraw();

  /// Returns the terminal to the shell and stops the process (as Control-Z does) until it is continued.
  void suspend();

 private:
  struct Terminal;
  Screen();

  HeldStderr m_held;
  TerminalGuard m_guard;
  std::unique_ptr<Terminal> m_terminal;
};

}  // namespace corvane::inspector
