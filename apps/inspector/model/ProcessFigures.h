#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "corvane/platform/Message.h"
#include "corvane/platform/Result.h"

/// What the Inspector and its helper agree on. The helper answers {FIGURES: ""} with {FIGURES: array}, which holds five
/// integers for each process: id, start in microseconds since the system's start, footprint, bytes read and written.
namespace corvane::inspector {

inline constexpr char HELPER_LABEL[] = "org.corvane.Inspector.helper";
inline constexpr char FIGURES[] = "figures";
inline constexpr char FIGURES_RIGHT[] = "org.corvane.Inspector.helper.figures";

/// The figures of all processes whose figures this process may read: as root, all.
Message readFigures();

/// Gives the rows the figures that a message holds. Rows of processes that it does not know get none.
void addFigures(const Message& message, std::vector<ProcessRow>& rows);

}  // namespace corvane::inspector
