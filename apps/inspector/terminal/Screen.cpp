#include "apps/inspector/terminal/Screen.h"

#include <curses.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

#include "apps/inspector/terminal/Keys.h"
#include "apps/inspector/terminal/Terminfo.h"
#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

bool wantsColour() {
  const char* value = std::getenv("NO_COLOR");
  return !value || *value == '\0';
}

enum Pair : short { CYAN = 1, GREEN, YELLOW };

}  // namespace

struct Screen::Terminal {
  // Ignored before ncurses checks it: ncurses' own handler would draw on whichever thread gets the signal.
  void (*suspendAction)(int) = std::signal(SIGTSTP, SIG_IGN);
  SCREEN* screen = nullptr;
  WINDOW* input = nullptr;  // reading keys from a separate window does not affect the shown one
  bool colour = false;

  Terminal() = default;
  ~Terminal() {
    if (screen) {
      endwin();
      if (input) delwin(input);
      delscreen(screen);
    }
    std::signal(SIGTSTP, suspendAction);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  attr_t attributes(Style style) const {
    const auto pair = [this](Pair number) { return colour ? static_cast<attr_t>(COLOR_PAIR(number)) : A_NORMAL; };
    switch (style) {
      case Style::PLAIN:
        return A_NORMAL;
      case Style::TITLE:
        return A_BOLD | pair(CYAN);
      case Style::DIM:
        return A_DIM;
      case Style::GRAPH:
        return pair(GREEN);
      case Style::HEADING:
        return A_BOLD;
      case Style::HOTKEY:
        return A_BOLD | A_UNDERLINE;
      case Style::SELECTED:
        return A_REVERSE;
      case Style::PAUSED:
        return A_DIM | pair(YELLOW);
    }
    return A_NORMAL;
  }

  // After an escape: drops the rest of the sequence of an unknown key, which would otherwise be taken for several keys.
  // False if nothing follows, so that it was the escape key.
  bool skipSequence() const {
    int next = wgetch(input);
    if (next == ERR) return false;
    if (next == '[' || next == 'O') {
      do next = wgetch(input);
      while (next != ERR && (next < 0x40 || next > 0x7e));
    }
    return true;
  }

  // Makes Control-Z an ordinary key.
  static void disableSuspendKey() {
    termios settings{};
    if (tcgetattr(STDIN_FILENO, &settings) != 0) return;
    settings.c_cc[VSUSP] = _POSIX_VDISABLE;
    tcsetattr(STDIN_FILENO, TCSADRAIN, &settings);
    def_prog_mode();
  }
};

Screen::Screen() : m_guard(m_held), m_terminal(std::make_unique<Terminal>()) {}

std::unique_ptr<Screen> Screen::open() {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0 || !terminalShowsScreens()) return nullptr;
  std::unique_ptr<Screen> result(new Screen);
  Terminal& terminal = *result->m_terminal;
  terminal.screen = newterm(nullptr, stdout, stdin);
  if (!terminal.screen) return nullptr;
  result->m_guard.arm(terminalSequence("sgr0") + terminalSequence("op") + terminalSequence("cnorm") +
                      terminalSequence("rmkx") + terminalSequence("rmcup") + "\r");
  cbreak();
  noecho();
  nonl();
  set_escdelay(25);
  curs_set(0);
  Terminal::disableSuspendKey();
  terminal.input = newpad(1, 1);
  nodelay(terminal.input, TRUE);
  keypad(terminal.input, TRUE);
  terminal.colour = wantsColour() && has_colors() && start_color() == OK && use_default_colors() == OK;
  if (terminal.colour) {
    init_pair(CYAN, COLOR_CYAN, -1);
    init_pair(GREEN, COLOR_GREEN, -1);
    init_pair(YELLOW, COLOR_YELLOW, -1);
  }
  return result;
}

// The terminal first, so that the held standard error is written to the restored terminal.
Screen::~Screen() {
  m_terminal.reset();
}

int Screen::rows() const {
  return getmaxy(stdscr);
}

int Screen::columns() const {
  return getmaxx(stdscr);
}

void Screen::show(const Frame& frame) {
  werase(stdscr);
  const auto width = static_cast<std::size_t>(columns());
  for (int row = 0; row < rows() && static_cast<std::size_t>(row) < frame.size(); ++row) {
    std::size_t column = 0;
    for (const Span& span : frame[static_cast<std::size_t>(row)]) {
      const std::string text = clipped(span.text, width - column);
      wattrset(stdscr, static_cast<int>(m_terminal->attributes(span.style)));
      mvwaddstr(stdscr, row, static_cast<int>(column), text.c_str());
      column += columnsOf(text);
    }
  }
  wnoutrefresh(stdscr);
  doupdate();
}

std::optional<int> Screen::readKey() {
  switch (const int pressed = wgetch(m_terminal->input)) {
    case ERR:
      return std::nullopt;
    case KEY_UP:
      return key::UP;
    case KEY_DOWN:
      return key::DOWN;
    case KEY_HOME:
      return key::HOME;
    case KEY_END:
      return key::END;
    case KEY_PPAGE:
      return key::PAGE_UP;
    case KEY_NPAGE:
      return key::PAGE_DOWN;
    case KEY_BACKSPACE:
    case '\b':
    case 0x7f:
      return key::BACKSPACE;
    case KEY_ENTER:
    case '\r':
    case '\n':
      return key::ENTER;
    case key::ESCAPE:
      if (m_terminal->skipSequence()) return readKey();
      return key::ESCAPE;
    default:
      return pressed < KEY_MIN ? pressed : key::OTHER;
  }
}

void Screen::resize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0)
    resizeterm(size.ws_row, size.ws_col);
}

void Screen::redraw() {
  clearok(curscr, TRUE);
}

void Screen::suspend() {
  endwin();
  std::signal(SIGTSTP, SIG_DFL);
  kill(0, SIGTSTP);  // the whole job, as the terminal would do it
  std::signal(SIGTSTP, SIG_IGN);
  resize();
  redraw();
}

}  // namespace corvane::inspector
