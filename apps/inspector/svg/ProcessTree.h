#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "apps/inspector/svg/SvgTree.h"

namespace corvane::inspector {

/// The labels of nodes that are no processes.
struct ProcessTreeLabels {
  std::string root = {};  ///< empty: the number of processes, in English
  std::string kernel = "kernel threads";
};

/// A tree of the processes below their parents, in the order of the rows and ready to be drawn. Processes whose parent
/// is not among them are below the root, and kernel threads are hidden behind one node. Processes with more than `most`
/// shown below them hide those; without a number, MOST_SHOWN are shown, from the root down. Processes that used one
/// percent of a processor or more are emphasised. The nodes' ids are those of the processes, 0 that of the root.
std::shared_ptr<SvgTree::Tree> processTree(const std::vector<ProcessRow>& rows, std::optional<std::size_t> most,
                                           const ProcessTreeLabels& labels = {});

inline constexpr std::size_t MOST_SHOWN = 400;
inline constexpr std::int64_t KERNEL_NODE = -1;  ///< the id of the node of the kernel threads

}  // namespace corvane::inspector
