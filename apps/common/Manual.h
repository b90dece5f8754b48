#pragma once

#include <string>

#include "apps/common/Command.h"

namespace corvane {

/// The sections COMMANDS and OPTIONS of a program's manual page, for man: what --help says.
std::string manualText(const Program& program);

}  // namespace corvane
