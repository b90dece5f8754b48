#include "apps/inspector/live/HelpPage.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/Table.h"

namespace corvane::inspector {

namespace {

constexpr std::array HINTS = {Hint{"q", "quit"}, Hint{"h", "back"}, Hint{"up down", "scroll"}};

constexpr std::array HELP = {
    Hint{"p", "processes"},
    Hint{"w", "who keeps the machine awake"},
    Hint{"v", "disks and volumes"},
    Hint{"u", "the program's queues"},
    Hint{"b", "the broadcaster's listeners, and the log's figures"},
    Hint{"l", "the log"},
    Hint{"h ?", "this page"},
    Hint{"esc", "back to the overview; a second press of these keys does the same"},
    Hint{"^L", "redraw the screen"},
    Hint{"^Z", "suspend, until the shell's fg"},
    Hint{"q", "quit"},
};

void add(Frame& lines, const Page& page, std::size_t columns) {
  if (!lines.empty()) lines.emplace_back();
  lines.push_back({{std::string(page.name()), Style::HEADING}});
  const std::size_t width = columns < 60 ? 9 : 12;
  for (const auto& [key, text] : page.help()) {
    std::string left(key);
    for (const std::string& piece : wrapped(text, std::max(columns, width + 10) - width))
      lines.push_back({{alignedLeft(std::exchange(left, ""), width), Style::HEADING}, {piece}});
  }
}

}  // namespace

HelpPage::HelpPage(std::vector<const Page*> pages, const Glyphs& glyphs)
    : Page("Everywhere", HINTS, HELP), m_pages(std::move(pages)), m_glyphs(glyphs) {}

Line HelpPage::title(std::size_t columns) const {
  return titleLine("Keys" + m_scroll.range(), columns, m_glyphs);
}

Frame HelpPage::draw(std::size_t rows, std::size_t columns) {
  Frame lines;
  for (const Page* page : m_pages) add(lines, *page, columns);
  add(lines, *this, columns);
  return m_scroll.cut(std::move(lines), rows);
}

}  // namespace corvane::inspector
