#pragma once

#include <string_view>

#include "apps/inspector/commands/ViewOptions.h"

namespace corvane::inspector {

inline constexpr std::string_view GET_HELP =
    "  URL                  what to request, http or https\n"
    "  --head               print the headers of the answer instead of its body\n"
    "  --post DATA          send DATA instead; --post @FILE sends the contents of a file\n"
    "  --header NAME:VALUE  add a header to what --post sends (may be repeated)\n"
    "  --limit MSECS        give up after so many milliseconds (default: 10000)\n";

/// The get command: makes one HTTP request, and prints the body to standard output and one line about the outcome to
/// standard error. Returns the exit status: 0 if the server answered with a status from 200 to 399, 2 for invalid
/// arguments, otherwise 1.
int get(const Arguments& arguments);

}  // namespace corvane::inspector
