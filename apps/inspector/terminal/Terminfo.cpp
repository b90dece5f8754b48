#include "apps/inspector/terminal/Terminfo.h"

// In a separate file, because <term.h> defines macros with everyday names.
#include <curses.h>
#include <term.h>
#include <unistd.h>

namespace corvane::inspector {

bool terminalShowsScreens() {
  int error = 0;
  if (setupterm(nullptr, STDOUT_FILENO, &error) != OK) return false;
  const bool result = !terminalSequence("cup").empty();
  del_curterm(cur_term);
  return result;
}

std::string terminalSequence(const char* capability) {
  static std::string sequence;  // for the callback, which has no argument
  sequence.clear();
  const char* text = tigetstr(const_cast<char*>(capability));
  if (!text || text == reinterpret_cast<const char*>(-1)) return {};
  tputs(text, 1, [](int c) {
    sequence += static_cast<char>(c);
    return c;
  });
  return sequence;
}

}  // namespace corvane::inspector
