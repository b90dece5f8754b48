#include "apps/inspector/live/LogPage.h"

#include <algorithm>
#include <array>
#include <utility>

#include "apps/inspector/model/TextFile.h"
#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t TAIL = std::size_t{256} << 10U;  // more than a log holds before it is archived

constexpr std::array HINTS = {Hint{"q", "quit"}, Hint{"h", "help"}, Hint{"l", "back"}, Hint{"up down", "scroll"}};

constexpr std::array HELP = {Hint{"l esc", "back to the overview"},
                             Hint{"up down", "scroll; so do page up and down, home and end"}};

}  // namespace

LogPage::LogPage(const Source& source, const Glyphs& glyphs)
    : Page("Log", HINTS, HELP), m_source(source), m_glyphs(glyphs) {}

void LogPage::open() {
  m_path = printable(m_source.log().path, m_glyphs);
  m_scroll.reset();
}

Line LogPage::title(std::size_t columns) const {
  const std::string range = m_scroll.range();
  const std::string taken = "Log" + range + "  ";
  return {{"Log", Style::HEADING}, {range + "  "}, {clipped(m_path, columns - std::min(columns, taken.size()))}};
}

Frame LogPage::draw(std::size_t rows, std::size_t columns) {
  const auto text = m_path.empty() ? std::nullopt : m_source.logTail(TAIL);
  Frame lines;
  for (const std::string_view line : linesOf(text ? *text : std::string_view()))
    for (std::string& piece : wrapped(printable(line, m_glyphs), columns)) lines.push_back({{std::move(piece)}});
  if (!text) lines.push_back({{m_path.empty() ? "This program keeps no log." : "No such file at present."}});
  return m_scroll.cut(std::move(lines), rows);
}

}  // namespace corvane::inspector
