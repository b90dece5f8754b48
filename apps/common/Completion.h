#pragma once

#include <string>

#include "apps/common/Command.h"

namespace corvane {

// Candidates that the shell itself completes.
inline constexpr char ANY_FILE[] = ":files";
inline constexpr char ANY_FOLDER[] = ":folders";
inline constexpr char ANY_COMMAND[] = ":commands";

/// What may stand in the place of the last of these words, which follow the program's name on a command line: a line
/// for each candidate, with a tab before its description. The shell chooses those that begin as that word does. For the
/// value in "--name=value" they are without the name.
std::string completionText(const Program& program, const Arguments& words);

}  // namespace corvane
