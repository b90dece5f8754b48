#include "apps/inspector/live/OverviewPage.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>
#include <vector>

#include "apps/inspector/terminal/Keys.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/Graph.h"
#include "apps/inspector/text/ReadingRow.h"
#include "apps/inspector/text/Table.h"

namespace corvane::inspector {

namespace {

// In the order of RepeaterColumn.
constexpr std::array TABLE = {
    TableColumn{'n', "Name", false, 0, 0},         TableColumn{'c', "Count", true, 9, 55},
    TableColumn{'t', "Total s", true, 12, 67},     TableColumn{'i', "Interval s", true, 12, 46},
    TableColumn{'d', "Duration us", true, 14, 34},
};
constexpr std::size_t TABLE_HEADINGS = 2;

constexpr std::array HINTS = {Hint{"q", "quit"},
                              Hint{"h", "help"},
                              Hint{"p", "processes"},
                              Hint{"space", "pause"},
                              Hint{"underlined letters", "sort"},
                              Hint{"u", "queues"},
                              Hint{"l", "log"},
                              Hint{"b", "broadcaster"},
                              Hint{"w", "power"},
                              Hint{"v", "disks"},
                              Hint{"r", "reset"},
                              Hint{"+ -", "average time"}};

constexpr std::array HELP = {
    Hint{"up down", "select a repeater; so do home and end"},
    Hint{"space", "pause it, or let it run again"},
    Hint{"n", "sort by name; a second press reverses the order"},
    Hint{"c", "sort by number of runs"},
    Hint{"t", "sort by total time"},
    Hint{"i", "sort by average interval"},
    Hint{"d", "sort by average duration"},
    Hint{"+ -", "average over 1 s more or less (1 to 60 s)"},
    Hint{"] [", "average over 10 s more or less"},
    Hint{"r", "reset the statistics"},
    Hint{"graphs", "each column is one run of the reading's repeater"},
};

std::string cell(const RepeaterRow& row, RepeaterColumn column) {
  switch (column) {
    case RepeaterColumn::NAME:
      return row.name;
    case RepeaterColumn::COUNT:
      return std::to_string(row.count);
    case RepeaterColumn::TOTAL:
      return decimal(row.totalSeconds, 6);
    case RepeaterColumn::INTERVAL:
      return decimal(row.intervalSeconds, 3);
    case RepeaterColumn::DURATION:
      return decimal(row.durationUsec, 1);
  }
  return {};
}

}  // namespace

OverviewPage::OverviewPage(Source& source, const Glyphs& glyphs)
    : ProgramPage("Overview", HINTS, HELP, source, glyphs), m_host(printable(source.machine().host(), glyphs)) {}

bool OverviewPage::press(int pressed) {
  m_message.clear();
  if (moveBy(pressed) || control(pressed)) return true;
  const auto sorted = std::ranges::find(TABLE, pressed, &TableColumn::key);
  if (sorted == TABLE.end()) return false;
  m_table.sortBy(static_cast<RepeaterColumn>(sorted - TABLE.begin()));
  return true;
}

// What changes something in the program.
bool OverviewPage::control(int pressed) {
  static constexpr std::string_view KEYS = " r+=-][";
  if (pressed > 127 || KEYS.find(static_cast<char>(pressed)) == KEYS.npos) return false;
  RepeaterSource& repeaters = m_source.repeaters();
  if (!repeaters.allowsControl()) {
    m_message = printable(m_source.name(), m_glyphs) + " does not allow others to change it.";
    return true;
  }
  switch (pressed) {
    case ' ':
      repeaters.togglePause(m_table.selected());
      break;
    case 'r':
      repeaters.resetStats();
      break;
    default: {
      const int step = pressed == ']' || pressed == '[' ? 10 : 1;
      repeaters.setTimeConstant(repeaters.timeConstant() + (pressed == '-' || pressed == '[' ? -step : step));
    }
  }
  return true;
}

Frame OverviewPage::prompt(std::size_t columns) const {
  return m_message.empty() ? ProgramPage::prompt(columns) : Frame{{{clipped(m_message, columns), Style::HEADING}}};
}

bool OverviewPage::moveBy(int pressed) {
  static constexpr int FARTHEST = 1'000'000;
  static constexpr std::array STEPS = {std::pair(key::UP, -1), std::pair(key::DOWN, 1), std::pair(key::HOME, -FARTHEST),
                                       std::pair(key::END, FARTHEST)};
  const auto step = std::ranges::find(STEPS, pressed, &std::pair<int, int>::first);
  if (step == STEPS.end()) return false;
  m_table.moveSelection(step->second);
  return true;
}

Line OverviewPage::title(std::size_t columns) const {
  const std::string program = printable(m_source.name(), m_glyphs);
  const std::string name = "Corvane Inspector" + (program.empty() ? "" : ": " + program);
  const std::string middle = "   " + m_host + "   running for " + m_source.started().hhmmss();
  const std::string clock = Timeval().localtime().substr(0, 8);
  const std::size_t width = columnsOf(name) + columnsOf(middle) + clock.size() + 1;
  if (columns < width) return {{clipped(name, columns), Style::TITLE}};
  return {{name, Style::TITLE}, {middle}, {std::string(columns - width + 1, ' ')}, {clock}};
}

// Readings and table share the rows. The table gets half if they do not both fit.
Frame OverviewPage::draw(std::size_t rows, std::size_t columns) {
  m_table.setRows(m_source.repeaters().rows());
  Frame above = readings(rows, columns);
  std::size_t below =
      std::min(m_table.rows().size() + TABLE_HEADINGS, std::max(rows / 2, rows - std::min(rows, above.size())));
  if (below <= TABLE_HEADINGS) below = 0;
  above.resize(std::min(above.size(), rows - below));
  const std::size_t blanks = rows - below - above.size();
  Frame frame;
  if (blanks > 1) frame.emplace_back();
  std::ranges::move(above, std::back_inserter(frame));
  if (below == 0) return frame;
  if (blanks > 0) frame.emplace_back();
  std::ranges::move(tableLines(below, columns), std::back_inserter(frame));
  return frame;
}

Frame OverviewPage::readings(std::size_t rows, std::size_t columns) const {
  std::vector<std::size_t> shown;
  for (std::size_t i = 0; i < READING_ROWS.size(); ++i) {
    // There are no readings without sensors.
    if (READING_ROWS[i].gauge != Gauge::TEMPERATURE || !m_source.machine().history(Gauge::TEMPERATURE).empty())
      shown.push_back(i);
  }
  static constexpr std::size_t FEW_REPEATERS = 3, NARROWEST_PAIR = 36;
  Frame frame;
  if (rows >= shown.size() + TABLE_HEADINGS + FEW_REPEATERS || columns < NARROWEST_PAIR) {
    for (const std::size_t index : shown) frame.push_back(reading(index, columns));
    return frame;
  }
  // On a low screen two are side by side, without their graphs.
  static constexpr std::size_t GAP = 2;
  const std::size_t width = std::min((columns - GAP) / 2, NARROWEST_PAIR);
  for (std::size_t i = 0; i < shown.size(); i += 2) {
    std::string text = shortReading(shown[i], width);
    if (i + 1 < shown.size()) text.append(GAP, ' ').append(shortReading(shown[i + 1], width));
    frame.push_back({{std::move(text)}});
  }
  return frame;
}

std::string OverviewPage::shortReading(std::size_t index, std::size_t columns) const {
  const ReadingRow& row = READING_ROWS[index];
  const std::string value = row.value(m_source.machine().readings(), m_glyphs);
  const std::string name(row.shortName);
  return clipped(name + alignedRight(' ' + (value.empty() ? "-" : value), columns - std::min(columns, name.size())),
                 columns);
}

Line OverviewPage::reading(std::size_t index, std::size_t columns) const {
  const ReadingRow& row = READING_ROWS[index];
  const bool narrow = columns < 40;
  std::string name(narrow ? row.shortName : row.name);
  std::string value = row.value(m_source.machine().readings(), m_glyphs);
  if (value.empty()) value = '-';
  static constexpr std::size_t VALUE = 14;
  if (columns <= VALUE + 7) return {{name + " " + value}};  // aligned, they would not fit
  name = alignedLeft(name, narrow ? 7 : 13);
  value = alignedRight(value, VALUE);
  static constexpr std::size_t GAP = 3;
  const std::size_t taken = name.size() + columnsOf(value) + GAP;
  Line line = {{name}, {value}};
  const History& history = m_source.machine().history(row.gauge);
  if (columns < taken + 5) return line;
  const std::size_t width = columns - taken;
  if (const auto shown = history.range(width)) {
    line.push_back({std::string(GAP, ' ')});
    line.push_back({graph(history, width, row.range(m_source.machine().readings(), *shown), m_glyphs), Style::GRAPH});
  }
  return line;
}

Frame OverviewPage::tableLines(std::size_t rows, std::size_t columns) const {
  const std::string seconds = std::to_string(m_source.repeaters().timeConstant());
  Frame lines = {
      titleLine("Repeaters, averaged over " + seconds + " s", columns, m_glyphs),
      headingLine(TABLE, static_cast<std::size_t>(m_table.column()), m_table.descending(), columns, m_glyphs)};
  const std::size_t shown = rows - lines.size();
  const std::size_t selected = m_table.selectedIndex();
  const std::size_t first = selected < shown ? 0 : selected - shown + 1;
  for (std::size_t i = first; i < first + shown; ++i) lines.push_back(tableRow(m_table.rows()[i], columns));
  return lines;
}

Line OverviewPage::tableRow(const RepeaterRow& row, std::size_t columns) const {
  const std::string text = rowText(TABLE, columns, [&](std::size_t index, std::size_t width) {
    const auto column = static_cast<RepeaterColumn>(index);
    if (column != RepeaterColumn::NAME) return cell(row, column);
    const std::string mark = row.paused ? " (paused)" : "";
    return clipped(printable(row.name, m_glyphs), width - std::min(width, mark.size())) + mark;
  });
  const Style style = isOld() ? Style::DIM : row.paused ? Style::PAUSED : Style::PLAIN;
  return {{text, row.name == m_table.selected() ? Style::SELECTED : style}};
}

}  // namespace corvane::inspector
