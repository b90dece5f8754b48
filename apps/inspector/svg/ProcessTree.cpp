#include "apps/inspector/svg/ProcessTree.h"

#include <map>
#include <string>

namespace corvane::inspector {

namespace {

using Tree = SvgTree::Tree;

std::shared_ptr<Tree> makeNode(const ProcessRow& row) {
  return std::make_shared<Tree>(
      SvgNode{.label = std::to_string(row.pid) + " " + row.name, .strong = row.processor >= 1, .id = row.pid});
}

}  // namespace

std::shared_ptr<Tree> processTree(const std::vector<ProcessRow>& rows, std::optional<std::size_t> most,
                                  const ProcessTreeLabels& labels) {
  struct Entry {
    const ProcessRow* row;
    std::shared_ptr<Tree> node;
  };
  std::map<pid_t, Entry> processes;
  const auto kernel = std::make_shared<Tree>(SvgNode{.label = labels.kernel, .id = KERNEL_NODE});
  for (const ProcessRow& row : rows) {
    if (row.kind == ProcessKind::KERNEL)
      kernel->addChildNode(makeNode(row));
    else
      processes.emplace(row.pid, Entry{&row, makeNode(row)});
  }
  const auto root = std::make_shared<Tree>(
      SvgNode{.label = labels.root.empty() ? std::to_string(rows.size()) + " processes" : labels.root});
  for (const ProcessRow& row : rows) {
    const auto process = processes.find(row.pid);
    if (process == processes.end()) continue;
    const auto parent = processes.find(row.parent);
    // A process that started later has reused the id of a parent that has ended.
    const bool known = parent != processes.end() && parent != process && parent->second.row->started <= row.started;
    (known ? *parent->second.node : *root).addChildNode(process->second.node);
  }
  if (most)
    SvgTree::hideLarge(*root, *most);
  else
    SvgTree::fit(*root, MOST_SHOWN);
  kernel->setChildrenHidden(true);
  if (kernel->childCount() > 0) root->addChildNode(kernel);
  root->calculateNodePositions();
  return root;
}

}  // namespace corvane::inspector
