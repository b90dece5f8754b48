#include "apps/inspector/svg/SvgTree.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <deque>
#include <map>
#include <utility>
#include <vector>

#include "apps/inspector/svg/Svg.h"
#include "apps/inspector/text/Characters.h"
#include "apps/inspector/text/Format.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

constexpr double ROW = 26, BOX = 20, GAP = 44, PADDING = 7, MARGIN = 14, TITLE = 30;
constexpr double ROWS_APART = 1.25;    // of different parents
constexpr double LETTER = 12 * 0.602;  // the width of the letters of most monospaced fonts

// The text, or as much of its beginning as fits; and the columns that it takes.
std::pair<std::string, std::size_t> fitted(const std::string& text) {
  const std::string valid = repaired(text);
  std::size_t columns = 0, cut = 0;
  for (std::string_view rest = valid; !rest.empty();) {
    columns += static_cast<std::size_t>(std::abs(columnsOf(takeCharacter(rest))));
    if (columns < SvgTree::MOST_COLUMNS) cut = valid.size() - rest.size();
  }
  if (columns <= SvgTree::MOST_COLUMNS) return {valid, columns};
  return {valid.substr(0, cut) + "…", SvgTree::MOST_COLUMNS};
}

std::string noteOf(SvgTree::Tree& node) {
  if (!node.childrenHidden() || node.childCount() == 0) return node.data()->note;
  std::size_t hidden = 0;
  for (const auto& child : node.allChildNodes()) child->autoHideNodes([&hidden](SvgTree::Tree&) { ++hidden; });
  return '+' + std::to_string(hidden);
}

// Where and how a node is drawn.
struct Box {
  const SvgTree::Tree* node;
  std::size_t level;
  double middle;
  double width;
  std::string label;
  std::string note;
};

class Drawing {
 public:
  explicit Drawing(SvgTree::Tree& root) : m_area(root.boundingBox()) {
    root.search([this](SvgTree::Tree& node) {
      place(node);
      return false;
    });
    for (std::size_t level = 1; level < m_left.size(); ++level) m_left[level] += m_left[level - 1];
    for (const Box& box : m_boxes) draw(box);
  }

  double width() const { return m_left.back() - GAP + MARGIN; }
  double height() const { return TITLE + m_area.width() * ROW + BOX + 2 * MARGIN; }

  std::string connectors;
  std::string boxes;

 private:
  double middleOf(const SvgTree::Tree& node) const {
    return TITLE + MARGIN + BOX / 2 + (node.location().x - m_area.left) * ROW;
  }

  void place(SvgTree::Tree& node) {
    auto [label, columns] = fitted(node.data()->label);
    auto [note, noteColumns] = fitted(noteOf(node));
    if (!note.empty()) columns += 1 + noteColumns;
    const double width = static_cast<double>(columns) * LETTER + 2 * PADDING;
    const auto level = static_cast<std::size_t>(node.location().y);
    m_boxes.push_back({&node, level, middleOf(node), width, std::move(label), std::move(note)});
    if (m_left.size() < level + 2) m_left.resize(level + 2);
    m_left[level + 1] = std::max(m_left[level + 1], width + GAP);
  }

  void draw(const Box& box) {
    const double left = m_left[box.level];
    if (!box.node->isLeaf()) {
      const double to = m_left[box.level + 1];
      const std::string stem = px(to - GAP) + " " + px(box.middle), bend = px(to - GAP / 2) + " ";
      connectors += "<path d='M" + px(left + box.width) + " " + px(box.middle) + "L" + stem;
      for (const auto& child : box.node->children()) {
        const std::string below = px(middleOf(*child));
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

  LayoutBox m_area;
  std::vector<Box> m_boxes;
  std::vector<double> m_left = {MARGIN};  // of each level; until all nodes are placed, the width of the previous level
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
  const double width = std::max(drawing.width(), 2 * MARGIN + 9 * static_cast<double>(columnsOf(repaired(title))));
  const std::string size = decimal(width, 0) + "' height='" + decimal(drawing.height(), 0);
  return "<svg xmlns='http://www.w3.org/2000/svg' width='" + size + "' viewBox='0 0 " + decimal(width, 0) + " " +
         decimal(drawing.height(), 0) +
         "' font-family='DejaVu Sans Mono, Menlo, Consolas, monospace' font-size='12' fill='#222'>\n<title>" +
         svgText(title) +
         "</title>\n<style>.plain rect{fill:#fff;stroke:#b8b8b8} .strong rect{fill:#e3eefb;stroke:#0072b2}"
         " .marked rect{fill:#fdf0e6;stroke:#d55e00;stroke-dasharray:4 3} tspan{fill:#a64800}</style>\n<rect width='" +
         size + "' fill='#fff'/>\n<text x='" + px(MARGIN) + "' y='" + px(MARGIN + 12) +
         "' font-family='sans-serif' font-size='15' font-weight='bold'>" + svgText(title) +
         "</text>\n<g fill='none' stroke='#888'>\n" + drawing.connectors + "</g>\n" + drawing.boxes + "</svg>\n";
}

}  // namespace corvane::inspector
