#include "apps/inspector/svg/TreeBoxes.h"

#include <algorithm>
#include <cstdlib>

#include "apps/inspector/text/Characters.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

// The text, or as much of its beginning as fits.
std::string fitted(const std::string& text) {
  const std::string valid = repaired(text);
  std::size_t columns = 0, cut = 0;
  for (std::string_view rest = valid; !rest.empty();) {
    columns += static_cast<std::size_t>(std::abs(columnsOf(takeCharacter(rest))));
    if (columns < SvgTree::MOST_COLUMNS) cut = valid.size() - rest.size();
  }
  return columns <= SvgTree::MOST_COLUMNS ? valid : valid.substr(0, cut) + "…";
}

std::string noteOf(SvgTree::Tree& node) {
  if (!node.childrenHidden() || node.childCount() == 0) return node.data()->note;
  std::size_t hidden = 0;
  for (const auto& child : node.allChildNodes()) child->autoHideNodes([&hidden](SvgTree::Tree&) { ++hidden; });
  return '+' + std::to_string(hidden);
}

}  // namespace

TreeBoxes::TreeBoxes(SvgTree::Tree& root, double top, const std::function<double(const std::string& text)>& widthOf)
    : m_top(top), m_area(root.boundingBox()) {
  root.search([&](SvgTree::Tree& node) {
    Box box{&node,
            static_cast<std::size_t>(node.location().y),
            0,
            middleOf(node),
            0,
            fitted(node.data()->label),
            fitted(noteOf(node))};
    box.width = widthOf(box.note.empty() ? box.label : box.label + ' ' + box.note) + 2 * PADDING;
    if (m_left.size() < box.level + 2) m_left.resize(box.level + 2);
    m_left[box.level + 1] = std::max(m_left[box.level + 1], box.width + GAP);
    boxes.push_back(std::move(box));
    return false;
  });
  for (std::size_t level = 1; level < m_left.size(); ++level) m_left[level] += m_left[level - 1];
  for (Box& box : boxes) box.left = m_left[box.level];
}

}  // namespace corvane::inspector
