#include "apps/inspector/svg/SvgTree.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <deque>
#include <map>

#include "apps/inspector/svg/Svg.h"
#include "apps/inspector/svg/TreeBoxes.h"
#include "apps/inspector/text/Characters.h"
#include "apps/inspector/text/Format.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

constexpr double TITLE = 30;
constexpr double ROWS_APART = 1.25;    // of different parents
constexpr double LETTER = 12 * 0.602;  // the width of the letters of most monospaced fonts

double widthOf(const std::string& text) {
  std::size_t columns = 0;
  for (std::string_view rest = text; !rest.empty();)
    columns += static_cast<std::size_t>(std::abs(columnsOf(takeCharacter(rest))));
  return static_cast<double>(columns) * LETTER;
}

class Drawing {
 public:
  explicit Drawing(SvgTree::Tree& root) : layout(root, TITLE, widthOf) {
    for (const TreeBoxes::Box& box : layout.boxes) draw(box);
  }

  const TreeBoxes layout;
  std::string connectors;
  std::string boxes;

 private:
  void draw(const TreeBoxes::Box& box) {
    static constexpr double BOX = TreeBoxes::BOX, PADDING = TreeBoxes::PADDING, GAP = TreeBoxes::GAP;
    const double left = box.left;
    if (!box.node->isLeaf()) {
      const double to = layout.leftOf(*box.node->leftMostChild());
      const std::string stem = px(to - GAP) + " " + px(box.middle), bend = px(to - GAP / 2) + " ";
      connectors += "<path d='M" + px(left + box.width) + " " + px(box.middle) + "L" + stem;
      for (const auto& child : box.node->children()) {
        const std::string below = px(layout.middleOf(*child));
        connectors += "M" + stem + "C" + bend + px(box.middle) + " " + bend + below + " " + px(to) + " " + below;
      }
      connectors += "'/>\n";
    }
    const SvgNode& data = *box.node->data();
    boxes.append("<g class='").append(!box.note.empty() ? "marked" : data.strong ? "strong" : "plain");
    boxes += "'><title>" + svgText(data.label) + "</title><rect x='" + px(left) + "' y='" + px(box.middle - BOX / 2) +
             "' width='" + px(box.width) + "' height='" + px(BOX) + "' rx='4'/><text x='" + px(left + PADDING) +
             "' y='" + px(box.middle + 4) + "'>" + svgText(box.label);
    if (!box.note.empty()) boxes += " <tspan>" + svgText(box.note) + "</tspan>";
    boxes += "</text></g>\n";
  }
};

}  // namespace

void SvgTree::hideLarge(Tree& root, std::size_t most) {
  std::map<const Tree*, std::size_t> shown;
  root.autoHideNodes([&](Tree& node) {
    std::size_t count = 0;
    for (const auto& child : node.allChildNodes()) {
      const auto below = shown.find(child.get());
      count += 1 + (below == shown.end() ? 0 : below->second);
    }
    const bool hide = count > most && &node != &root;
    node.setChildrenHidden(hide);
    if (count > 0 && !hide) shown[&node] = count;
    if (count > 0 && !hide) node.setNodeSeparation(ROWS_APART);
  });
}

void SvgTree::fit(Tree& root, std::size_t most) {
  std::size_t shown = 1;
  for (std::deque<Tree*> nodes = {&root}; !nodes.empty(); nodes.pop_front()) {
    Tree& node = *nodes.front();
    const auto count = static_cast<std::size_t>(node.childCount());
    const bool hide = shown + count > most && &node != &root;
    node.setChildrenHidden(hide);
    if (count == 0 || hide) continue;
    shown += count;
    node.setNodeSeparation(ROWS_APART);
    for (const auto& child : node.allChildNodes()) nodes.push_back(child.get());
  }
}

std::string SvgTree::svg(Tree& root, const std::string& title) {
  const Drawing drawing(root);
  // As wide as the title needs.
  const double width =
      std::max(drawing.layout.width(), 2 * TreeBoxes::MARGIN + 9 * static_cast<double>(columnsOf(repaired(title))));
  const std::string size = decimal(width, 0) + "' height='" + decimal(drawing.layout.height(), 0);
  return "<svg xmlns='http://www.w3.org/2000/svg' width='" + size + "' viewBox='0 0 " + decimal(width, 0) + " " +
         decimal(drawing.layout.height(), 0) +
         "' font-family='DejaVu Sans Mono, Menlo, Consolas, monospace' font-size='12' fill='#222'>\n<title>" +
         svgText(title) +
         "</title>\n<style>.plain rect{fill:#fff;stroke:#b8b8b8} .strong rect{fill:#e3eefb;stroke:#0072b2}"
         " .marked rect{fill:#fdf0e6;stroke:#d55e00;stroke-dasharray:4 3} tspan{fill:#a64800}</style>\n<rect width='" +
         size + "' fill='#fff'/>\n<text x='" + px(TreeBoxes::MARGIN) + "' y='" + px(TreeBoxes::MARGIN + 12) +
         "' font-family='sans-serif' font-size='15' font-weight='bold'>" + svgText(title) +
         "</text>\n<g fill='none' stroke='#888'>\n" + drawing.connectors + "</g>\n" + drawing.boxes + "</svg>\n";
}

}  // namespace corvane::inspector
