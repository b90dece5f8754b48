#include "apps/inspector/live/BroadcasterPage.h"

#include <algorithm>
#include <array>
#include <utility>

#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/Table.h"
#include "corvane/infra/Logger.h"

namespace corvane::inspector {

namespace {

constexpr std::array TABLE = {
    TableColumn{0, "Key", false, 13, 0},        TableColumn{0, "Listener", false, 0, 48},
    TableColumn{0, "Count", true, 8, 30},       TableColumn{0, "Total us", true, 11, 60},
    TableColumn{0, "Average us", true, 12, 40},
};

constexpr std::array HINTS = {Hint{"q", "quit"}, Hint{"h", "help"}, Hint{"b", "back"}, Hint{"up down", "scroll"}};

constexpr std::array HELP = {Hint{"b esc", "back to the overview"},
                             Hint{"up down", "scroll; so do page up and down, home and end"}};

// The class name without the namespaces, which are those of the program.
std::string shortName(const std::string& type) {
  const auto colons = type.find('<') == type.npos ? type.rfind("::") : type.npos;
  return colons == type.npos ? type : type.substr(colons + 2);
}

Line row(const broadcaster_stats& listener, std::size_t columns, const Glyphs& glyphs) {
  const double average = static_cast<double>(listener.elapsed) / static_cast<double>(listener.count);
  const std::array<std::string, TABLE.size()> cells = {
      printable(listener.key, glyphs), printable(shortName(listener.listener), glyphs), std::to_string(listener.count),
      std::to_string(listener.elapsed), listener.count > 0 ? decimal(average, 1) : "-"};
  return {{rowText(TABLE, columns,
                   [&](std::size_t column, std::size_t width) { return clipped(cells.at(column), width); })}};
}

}  // namespace

Frame broadcasterLines(const std::vector<broadcaster_stats>& listeners, const LogFigures& log, std::size_t columns,
                       const Glyphs& glyphs) {
  Frame frame = {headingLine(TABLE, TABLE.size(), false, columns, glyphs)};
  for (const broadcaster_stats& listener : listeners) frame.push_back(row(listener, columns, glyphs));
  frame.emplace_back();
  frame.push_back(titleLine("Log", columns, glyphs));
  if (log.path.empty()) {
    frame.push_back({{"This program keeps no log."}});
    return frame;
  }
  const auto entry = [&](std::string name, const std::string& value) {
    for (const std::string& piece : wrapped(value, std::max<std::size_t>(columns, 20) - 10))
      frame.push_back({{alignedLeft(std::exchange(name, ""), 10), Style::HEADING}, {piece}});
  };
  entry("Path", printable(log.path, glyphs));
  entry("Size", log.size ? std::to_string(*log.size) + " bytes; archived above " + std::to_string(Logger::MAX_LOG_SIZE)
                         : "no such file at present");
  entry("Archives", std::to_string(log.archives) + " of " + std::to_string(Logger::MAX_LOGS + 1));
  entry("Lines", std::to_string(log.lines) + " by this process");
  return frame;
}

BroadcasterPage::BroadcasterPage(Source& source, const Glyphs& glyphs)
    : ProgramPage("Broadcaster", HINTS, HELP, source, glyphs) {}

Line BroadcasterPage::title(std::size_t columns) const {
  return titleLine(titled(name()) + m_scroll.range(), columns, m_glyphs);
}

Frame BroadcasterPage::draw(std::size_t rows, std::size_t columns) {
  return m_scroll.cut(broadcasterLines(m_source.listeners(), m_source.log(), columns, m_glyphs), rows);
}

}  // namespace corvane::inspector
