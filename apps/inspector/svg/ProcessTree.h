#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "apps/inspector/svg/SvgTree.h"

namespace corvane::inspector {

/// Processes below their parents, in their order in the rows and ready to be drawn. Those whose parent is not among
/// them stand below the root, and the kernel's threads are hidden behind one node. Processes with more than `most`
/// shown below them hide those; without a number, MOST_SHOWN fit into the picture, from the root down. Emphasis marks
/// those that used one percent of a processor or more.
std::shared_ptr<SvgTree::Tree> processTree(const std::vector<ProcessRow>& rows, std::optional<std::size_t> most);

inline constexpr std::size_t MOST_SHOWN = 400;

}  // namespace corvane::inspector
