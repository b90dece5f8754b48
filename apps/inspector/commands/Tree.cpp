#include "apps/inspector/commands/Tree.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/commands/Picture.h"
#include "apps/inspector/svg/SvgTree.h"
#include "corvane/core/Files.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

namespace fs = std::filesystem;
using Tree = SvgTree::Tree;

struct Options {
  std::string path;
  std::string file;
  std::size_t depth = 3;
  std::size_t hide = SvgTree::HIDE;
};

tl::expected<Options, std::string> parse(const Arguments& arguments) {
  Options options;
  for (OptionReader option(arguments); option.next();) {
    if (const auto path = option.operand()) {
      if (!options.path.empty()) return tl::unexpected(std::string(*path) + ": there is one folder already");
      options.path = *path;
    } else if (option.name() == "--svg") {
      const auto file = option.value();
      if (!file) return tl::unexpected(file.error());
      options.file = *file;
    } else if (option.name() == "--depth" || option.name() == "--hide") {
      const auto number = option.value().map(numberIn<std::size_t>);
      if (!number) return tl::unexpected(number.error());
      if (!*number) return option.failure("expects a whole number");
      (option.name() == "--depth" ? options.depth : options.hide) = **number;
    } else {
      return option.unknown();
    }
  }
  if (options.path.empty()) return tl::unexpected(std::string("tree: the folder is missing"));
  if (options.file.empty()) return tl::unexpected(std::string("tree: expects --svg FILE"));
  return options;
}

struct Entry {
  fs::path path;
  std::size_t parent;
  std::size_t depth;
  bool isFolder;
  std::string note = {};  // the reason why a folder's content is not shown
};

// The folder and what is in it, parents before their children; an error if not even the folder can be read.
Result<std::vector<Entry>> read(const Options& options) {
  std::vector<Entry> entries = {{options.path, 0, 0, true}};
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!entries[i].isFolder) continue;
    const std::size_t depth = entries[i].depth;
    std::error_code error;
    for (fs::directory_iterator entry(entries[i].path, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
      if (depth == options.depth) {
        entries[i].note = "…";
        break;
      }
      std::error_code unknown;
      const bool isFolder = entry->symlink_status(unknown).type() == fs::file_type::directory;
      entries.push_back({entry->path(), i, depth + 1, isFolder});
    }
    if (error && i == 0) return fileFailure(options.path, error.value());
    if (error) entries[i].note = '(' + error.message() + ")";
  }
  return entries;
}

std::shared_ptr<Tree> makeTree(const std::vector<Entry>& entries) {
  std::vector<std::shared_ptr<Tree>> nodes;
  for (const Entry& entry : entries) {
    const fs::path name = entry.path.has_filename() ? entry.path.filename() : entry.path;
    nodes.push_back(std::make_shared<Tree>(SvgNode{name, entry.note, entry.isFolder}));
    if (nodes.size() > 1) nodes[entry.parent]->addChildNode(nodes.back());
  }
  return nodes.front();
}

// Folders first, then by name.
bool goesBefore(const Tree& a, const Tree& b) {
  return std::forward_as_tuple(b.data()->strong, a.data()->label) <
         std::forward_as_tuple(a.data()->strong, b.data()->label);
}

}  // namespace

int tree(const Arguments& arguments) {
  const auto options = parse(arguments);
  if (!options) return failUsage(options.error());
  const auto entries = read(*options);
  if (!entries) return fail(entries.error().description);
  const std::shared_ptr<Tree> root = makeTree(*entries);
  root->sortChildNodes(goesBefore);
  SvgTree::hideLarge(*root, options->hide);
  root->calculateNodePositions();
  return writePicture(options->file, SvgTree::svg(*root, options->path));
}

}  // namespace corvane::inspector
