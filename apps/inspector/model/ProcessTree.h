#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "apps/inspector/model/ProcessSample.h"
#include "apps/inspector/svg/SvgTree.h"

namespace corvane::inspector {

/// Processes below their parents, in their order in the rows and ready to be drawn. Those whose parent is not among
/// them stand below the root, and the kernel's threads are hidden behind one node. Processes with more than `most`
/// shown below them hide those. Emphasis tells who used one percent of a processor or more.
std::shared_ptr<SvgTree::Tree> processTree(const std::vector<ProcessRow>& rows, std::size_t most);

}  // namespace corvane::inspector
