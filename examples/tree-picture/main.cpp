// tree-picture: a folder and what is in it as a tidy tree, as an SVG picture.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/algorithms/LayoutTree.h"
#include "corvane/core/Text.h"

namespace fs = std::filesystem;
using Tree = corvane::LayoutTree<std::string>;

namespace {

constexpr const char* USAGE =
    "Usage: tree-picture FOLDER [LEVELS] >PICTURE.svg\n"
    "Draws a folder, three levels deep unless told otherwise. What is in folders of more than 30 entries is left "
    "out.\n";

constexpr double COLUMN = 190;  // the width of a level, in pixels
constexpr double ROW = 22;      // the unit of the layout
constexpr double BOX = 18;      // the height of a box
constexpr std::size_t LONGEST = 22;

std::shared_ptr<Tree> read(const fs::path& folder, int levels) {
  const auto node = std::make_shared<Tree>(folder.filename().string());
  std::error_code error;  // what may not be read is drawn without anything in it
  if (levels == 0 || fs::is_symlink(folder, error) || !fs::is_directory(folder, error)) return node;
  std::vector<fs::path> entries;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
    entries.push_back(entry->path());
  std::ranges::sort(entries);
  for (const fs::path& entry : entries) node->addChildNode(read(entry, levels - 1));
  return node;
}

// A name as text of XML: without what is not allowed there, and cut between characters.
std::string label(const std::string& name) {
  std::string text;
  std::size_t characters = 0;
  for (const char byte : corvane::repaired(name)) {  // a file's name may hold any bytes
    const bool beginsCharacter = (byte & 0xc0) != 0x80;
    if (beginsCharacter && ++characters > LONGEST) return text + "…";
    if (byte == '&')
      text += "&amp;";
    else if (byte == '<')
      text += "&lt;";
    else
      text += static_cast<unsigned char>(byte) < ' ' ? '?' : byte;
  }
  return text;
}

void print(Tree& root) {
  root.calculateNodePositions();
  const corvane::LayoutBox box = root.boundingBox();
  // The layout goes down and spreads to the sides; turned on its side it suits names.
  const auto x = [](const Tree& node) { return node.location().y * COLUMN + 4; };
  const auto y = [](const Tree& node) { return (node.location().x + 0.5) * ROW; };
  std::printf(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" font-family=\"sans-serif\" "
      "font-size=\"12\">\n",
      (box.bottom + 1) * COLUMN, (box.right + 1) * ROW);
  root.traverse([&](Tree& node) {
    if (const auto parent = node.parent()) {
      const double from = x(*parent) + COLUMN - 40, to = x(node), middle = (from + to) / 2;
      std::printf("<path d=\"M%.1f %.1f C%.1f %.1f %.1f %.1f %.1f %.1f\" fill=\"none\" stroke=\"#9aa5b1\"/>\n", from,
                  y(*parent), middle, y(*parent), middle, y(node), to, y(node));
    }
    std::printf("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.0f\" height=\"%.0f\" rx=\"4\" fill=\"%s\"/>", x(node),
                y(node) - BOX / 2, COLUMN - 40, BOX, node.childCount() > 0 ? "#cfe3f7" : "#eef1f4");
    std::printf("<text x=\"%.1f\" y=\"%.1f\">%s</text>\n", x(node) + 6, y(node) + 4, label(*node.data()).c_str());
  });
  std::puts("</svg>");
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view folder = count > 1 ? arguments[1] : "";
  if (folder == "--help") return std::fputs(USAGE, stdout) < 0;
  const auto levels = corvane::numberIn<int>(count > 2 ? arguments[2] : "3");
  if (count < 2 || count > 3 || !levels || *levels < 1 || *levels > 50) return std::fputs(USAGE, stderr), 2;

  std::error_code failure;
  const fs::path path = fs::canonical(folder, failure);  // "." has a name then
  if (failure || !fs::is_directory(path, failure)) {
    std::fprintf(stderr, "tree-picture: %s: %s\n", arguments[1], failure ? failure.message().c_str() : "Not a folder");
    return 1;
  }
  const auto root = read(path, *levels);
  root->autoHideNodes([](Tree& node) { node.setChildrenHidden(node.childCount() > 30); });
  root->setChildrenHidden(false);
  print(*root);
}
