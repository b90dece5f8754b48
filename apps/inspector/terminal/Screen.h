#pragma once

#include <memory>
#include <optional>
#include <string>

#include "apps/inspector/terminal/Frame.h"
#include "apps/inspector/terminal/HeldStderr.h"
#include "apps/inspector/terminal/TerminalGuard.h"

namespace corvane::inspector {

/// A key: a byte of what it types, or one of these.
namespace key {
inline constexpr int UP = 0x11'0000;
inline constexpr int DOWN = 0x11'0001;
inline constexpr int HOME = 0x11'0002;
inline constexpr int END = 0x11'0003;
inline constexpr int PAGE_UP = 0x11'0004;
inline constexpr int PAGE_DOWN = 0x11'0005;
inline constexpr int BACKSPACE = 0x11'0006;
inline constexpr int ENTER = 0x11'0007;
inline constexpr int OTHER = 0x11'0008;  ///< one that means nothing here
inline constexpr int ESCAPE = 27;
inline constexpr int CONTROL_L = 12;
inline constexpr int CONTROL_Z = 26;
}  // namespace key

/// The terminal as a full screen, from open() to the destructor; whatever ends the process gives the terminal back.
/// On the main queue only.
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

  /// The next key that was pressed; none if there is no more.
  std::optional<int> readKey();

  /// Takes the terminal's new size.
  void resize();

  /// Draws everything anew at the next show(), over whatever the terminal shows.
  void redraw();

  /// Gives the terminal to the shell and stops the process (as Control-Z does) until it is continued.
  void suspend();

 private:
  struct Terminal;
  Screen();

  HeldStderr m_held;
  TerminalGuard m_guard;
  std::unique_ptr<Terminal> m_terminal;
};

}  // namespace corvane::inspector
