#pragma once

#include <string>

namespace corvane::inspector {

/// True if standard output's terminal is of a known kind and its cursor can be positioned.
bool terminalShowsScreens();

/// The current terminal's sequence for a terminfo capability; empty if the terminal does not have it.
std::string terminalSequence(const char* capability);

}  // namespace corvane::inspector
