#pragma once

#include <span>
#include <vector>

#include "apps/common/Command.h"

namespace corvane::inspector {

/// The names of the programs that can be looked into.
std::vector<Candidate> programCandidates(const Arguments& operands);

/// What the terminal program's commands take.
std::span<const Values> commandValues();

}  // namespace corvane::inspector
