#pragma once

#include <string>

namespace corvane::inspector {

/// True if standard output's terminal is of a known kind and its cursor can be put anywhere.
bool terminalShowsScreens();

/// What makes the current terminal do something, by terminfo's name for it; empty if the terminal cannot.
std::string terminalSequence(const char* capability);

}  // namespace corvane::inspector
