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

LogPage::LogPage(Source& source, const Glyphs& glyphs, std::function<void()> changed)
    : ProgramPage("Log", HINTS, HELP, source, glyphs), m_changed(std::move(changed)) {}

void LogPage::open() {
  m_scroll.reset();
  m_feed = m_source.followLog(TAIL, [this](Result<LogState> state) {
    take(std::move(state));
    m_changed();
  });
}

void LogPage::close() {
  m_feed.reset();
  m_path.reset();
  m_text.clear();
  m_failure.clear();
}

void LogPage::take(Result<LogState> state) {
  m_failure = !state ? state.error().description : state->path.empty() || state->size ? "" : "No such file at present.";
  if (!state) return;
  m_path = printable(state->path, m_glyphs);
  m_text += state->text;
  if (m_text.size() > TAIL) m_text.erase(0, m_text.find('\n', m_text.size() - TAIL) + 1);
}

Line LogPage::title(std::size_t columns) const {
  const std::string range = m_scroll.range();
  const std::string heading = titled(name());
  const std::string taken = heading + range + "  ";
  return {{heading, Style::HEADING},
          {range + "  "},
          {clipped(m_path.value_or(std::string()), columns - std::min(columns, columnsOf(taken)))}};
}

Frame LogPage::draw(std::size_t rows, std::size_t columns) {
  Frame lines;
  for (const std::string_view line : linesOf(m_text))
    for (std::string& piece : wrapped(printable(line, m_glyphs), columns)) lines.push_back({{std::move(piece)}});
  if (m_path && m_path->empty()) lines.push_back({{"This program keeps no log."}});
  if (!m_failure.empty()) lines.push_back({{printable(m_failure, m_glyphs)}});
  return m_scroll.cut(std::move(lines), rows);
}

}  // namespace corvane::inspector
