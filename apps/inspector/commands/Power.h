#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view POWER_HELP =
    "Without an option this lists who keeps the machine or its display awake.\n"
    "\n"
    "  --json          print one JSON object for each assertion\n"
    "  --watch         go on, with a line for each assertion that is taken (+) or released (-)\n"
    "  --prevent TYPE  keep the machine awake while a COMMAND runs. TYPE is display (the display\n"
    "                  stays on), idle (the system does not sleep of its own accord), sleep (nor\n"
    "                  if somebody asks it to), or the full name of an assertion type; the\n"
    "                  option may be repeated\n"
    "    --why TEXT      the reason that others see (default: the command)\n"
    "    COMMAND         looked up as the shell does; it gets the ARGUMENTs and the program's\n"
    "                    own streams, and the signals that this program gets\n"
    "\n"
    "With --prevent the exit status is the command's, 128 and more for a signal, 127 if it is not\n"
    "found, 126 if it cannot be started; 1, without running it, if the machine cannot be kept\n"
    "awake.\n";

/// The power command: lists power assertions, or holds some while another program runs.
int power(const Arguments& arguments);

}  // namespace corvane::inspector
