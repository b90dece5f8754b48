#include "apps/inspector/live/LiveView.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "apps/inspector/live/BroadcasterPage.h"
#include "apps/inspector/live/Hints.h"
#include "apps/inspector/model/ReadingRow.h"
#include "apps/inspector/model/SortedTable.h"
#include "apps/inspector/terminal/Screen.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/TextFile.h"
#include "corvane/infra/Logger.h"

namespace corvane::inspector {

namespace {

// In the order of Column.
constexpr std::array TABLE = {
    SortedColumn{'n', "Name", false, 0, 0},         SortedColumn{'c', "Count", true, 9, 55},
    SortedColumn{'t', "Total s", true, 12, 67},     SortedColumn{'i', "Interval s", true, 12, 46},
    SortedColumn{'d', "Duration us", true, 14, 34},
};

constexpr std::size_t TABLE_COLUMNS = 80;  // it gets no wider: numbers far from their names are hard to read

std::string cell(const TaskRow& row, Column column) {
  switch (column) {
    case Column::NAME:
      return row.name;
    case Column::COUNT:
      return std::to_string(row.count);
    case Column::TOTAL:
      return decimal(row.totalSeconds, 6);
    case Column::INTERVAL:
      return decimal(row.intervalSeconds, 3);
    case Column::DURATION:
      return decimal(row.durationUsec, 1);
  }
  return {};
}

// The most needed first: narrow screens show as many as fit.
constexpr std::array KEYS = {Hint{"q", "quit"},      Hint{"h", "help"},     Hint{"p", "processes"},
                             Hint{"space", "pause"}, Hint{"r", "reset"},    Hint{"l", "log"},
                             Hint{"b", "calls"},     Hint{"nctid", "sort"}, Hint{"+-", "average"}};

constexpr std::array HELP = {
    Hint{"up down", "select a repeater"},
    Hint{"space", "pause it, or let it run again"},
    Hint{"n", "sort by name; a second press turns the order round"},
    Hint{"c", "  by count of runs"},
    Hint{"t", "  by total time"},
    Hint{"i", "  by average interval"},
    Hint{"d", "  by average duration"},
    Hint{"+ -", "average over 1 s more or less (1 to 60 s)"},
    Hint{"] [", "average over 10 s more or less"},
    Hint{"r", "reset the statistics"},
    Hint{"p", "show the processes; underlined letters sort them"},
    Hint{"/", "  there: filter by a part of the name, path or user, or by number"},
    Hint{"k", "  there: send a signal to the selected one, after two questions"},
    Hint{"l", "show the end of the log"},
    Hint{"b", "show the broadcaster's listeners and what the log holds"},
    Hint{"h ?", "show this page"},
    Hint{"esc", "back to the overview"},
    Hint{"^L", "draw the screen anew"},
    Hint{"^Z", "stop, until the shell's fg"},
    Hint{"q", "quit"},
    Hint{"", ""},
    Hint{"graphs", "each column is one run of its repeater"},
};

std::string hostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : std::string();
}

}  // namespace

LiveView::LiveView(Monitor& monitor, const Glyphs& glyphs, std::function<void()> changed)
    : m_monitor(monitor),
      m_glyphs(glyphs),
      m_host(printable(hostName(), glyphs)),
      m_processes(glyphs),
      m_changed(std::move(changed)) {}

ViewSettings LiveView::settings() const {
  return {m_monitor.tasks().timeConstant(),
          {m_table.column(), m_table.descending()},
          {m_processes.column(), m_processes.descending()}};
}

void LiveView::apply(const ViewSettings& settings) {
  m_monitor.tasks().setTimeConstant(settings.average);
  m_table.sortBy(settings.repeaters.column, settings.repeaters.descending);
  m_processes.sortBy(settings.processes.column, settings.processes.descending);
}

void LiveView::show(Page page) {
  m_page = page == m_page ? Page::OVERVIEW : page;
  if (m_page == Page::LOG || m_page == Page::BROADCASTER)
    m_logPath = Logger::instance()->path().value_or(std::string());
  if (m_page == Page::PROCESSES) {
    showProcesses();
  } else {
    m_feed.reset();
    m_processes.leave();
  }
}

void LiveView::showProcesses() {
  // Elsewhere the numbers may be those of other processes than the ones that signals would go to.
  if (!m_monitor.isOfMachine()) {
    m_processes.take(failure("inspector", 0, "Only the machine's own processes can be shown."));
    return;
  }
  m_feed.emplace([this](Result<std::vector<ProcessRow>> rows) {
    m_processes.take(std::move(rows));
    if (m_changed) m_changed();
  });
}

LiveView::Request LiveView::press(int pressed) {
  static constexpr int FARTHEST = 1'000'000;
  if (m_page == Page::PROCESSES && m_processes.press(pressed)) return Request::NONE;
  Tasks& tasks = m_monitor.tasks();
  switch (pressed) {
    case 'q':
      return Request::QUIT;
    case key::CONTROL_Z:
      return Request::SUSPEND;
    case key::CONTROL_L:
      return Request::REDRAW;
    case 'p':
      show(Page::PROCESSES);
      return Request::NONE;
    case 'b':
      show(Page::BROADCASTER);
      return Request::NONE;
    case 'l':
      show(Page::LOG);
      return Request::NONE;
    case 'h':
    case '?':
      show(Page::HELP);
      return Request::NONE;
    case key::ESCAPE:
      show(Page::OVERVIEW);
      return Request::NONE;
    default:
      break;
  }
  // The rest changes what is seen on the overview only.
  if (m_page != Page::OVERVIEW) return Request::NONE;
  switch (pressed) {
    case key::UP:
      m_table.moveSelection(-1);
      break;
    case key::DOWN:
      m_table.moveSelection(1);
      break;
    case key::HOME:
      m_table.moveSelection(-FARTHEST);
      break;
    case key::END:
      m_table.moveSelection(FARTHEST);
      break;
    case ' ':
      tasks.togglePause(m_table.selected());
      break;
    case 'r':
      tasks.resetStats();
      break;
    case '+':
    case '=':
      tasks.setTimeConstant(tasks.timeConstant() + 1);
      break;
    case '-':
      tasks.setTimeConstant(tasks.timeConstant() - 1);
      break;
    case ']':
      tasks.setTimeConstant(tasks.timeConstant() + 10);
      break;
    case '[':
      tasks.setTimeConstant(tasks.timeConstant() - 10);
      break;
    default:
      for (std::size_t i = 0; i < TABLE.size(); ++i) {
        if (pressed == TABLE[i].key) m_table.sortBy(static_cast<Column>(i));
      }
  }
  return Request::NONE;
}

Frame LiveView::compose(std::size_t rows, std::size_t columns) {
  m_table.setRows(m_monitor.tasks().rows());
  switch (m_page) {
    case Page::OVERVIEW:
      return overview(rows, columns);
    case Page::PROCESSES:
      return m_processes.compose(rows, columns);
    case Page::BROADCASTER:
      return broadcasterPage(broadcasterStats(), LogFigures::of(m_logPath), columns, m_glyphs);
    case Page::LOG:
      return log(rows, columns);
    case Page::HELP:
      return help(columns);
  }
  return {};
}

Frame LiveView::overview(std::size_t rows, std::size_t columns) const {
  const auto readings = readingsShown();
  const std::size_t all = m_table.rows().size();
  const bool withTitle = rows >= 4;
  const bool withKeys = rows >= 8;
  std::size_t left = rows - (withTitle ? 1 : 0) - (withKeys ? 1 : 0);

  // Readings and table share what is left. The table needs its two headings and gets half if both cannot be whole.
  static constexpr std::size_t HEADINGS = 2;
  std::size_t table = std::min(all + HEADINGS, std::max(left / 2, left - std::min(left, readings.size())));
  if (table < HEADINGS + 1) table = 0;
  const std::size_t shownReadings = std::min(readings.size(), left - table);
  left -= table + shownReadings;

  Frame frame;
  const auto blank = [&frame, &left] {
    if (left == 0) return;
    frame.emplace_back();
    --left;
  };
  if (withTitle) frame.push_back(title(columns));
  if (left > 1) blank();
  for (std::size_t i = 0; i < shownReadings; ++i) frame.push_back(reading(readings[i], columns));
  if (table > 0) {
    blank();
    const std::size_t width = std::min(columns, TABLE_COLUMNS);
    const std::string seconds = std::to_string(m_monitor.tasks().timeConstant());
    frame.push_back(titleLine("Repeaters, averaged over " + seconds + " s", width, m_glyphs));
    frame.push_back(
        headingLine(TABLE, static_cast<std::size_t>(m_table.column()), m_table.descending(), width, m_glyphs));
    const std::size_t shown = table - HEADINGS;
    const std::size_t selected = m_table.selectedIndex();
    const std::size_t first = selected < shown ? 0 : selected - shown + 1;
    for (std::size_t i = first; i < first + shown; ++i) frame.push_back(tableRow(m_table.rows()[i], columns));
  }
  if (withKeys) {
    frame.resize(rows - 1);
    frame.push_back(hintLine(KEYS, columns));
  }
  return frame;
}

std::vector<std::size_t> LiveView::readingsShown() const {
  std::vector<std::size_t> shown;
  for (std::size_t i = 0; i < READING_ROWS.size(); ++i) {
    // Without sensors there is no such task.
    if (READING_ROWS[i].gauge != Gauge::TEMPERATURE || !m_monitor.history(Gauge::TEMPERATURE).empty())
      shown.push_back(i);
  }
  return shown;
}

Line LiveView::title(std::size_t columns) const {
  static const std::string NAME = "Corvane Inspector";
  const std::string middle = "   " + m_host + "   running for " + m_monitor.started().hhmmss();
  const std::string clock = Timeval().localtime().substr(0, 8);
  const std::size_t width = NAME.size() + columnsOf(middle) + clock.size() + 1;
  if (columns < width) return {{NAME, Style::TITLE}};
  return {{NAME, Style::TITLE}, {middle}, {std::string(columns - width + 1, ' ')}, {clock}};
}

Line LiveView::reading(std::size_t index, std::size_t columns) const {
  const ReadingRow& row = READING_ROWS[index];
  const bool narrow = columns < 40;
  std::string name(narrow ? row.shortName : row.name);
  std::string value = row.value(m_monitor.readings(), m_glyphs);
  if (value.empty()) value = "-";
  static constexpr std::size_t VALUE = 14;
  if (columns <= VALUE + 7) return {{name + " " + value}};  // aligned, they would not fit
  name = alignedLeft(name, narrow ? 7 : 13);
  value = alignedRight(value, VALUE);
  static constexpr std::size_t GAP = 3;
  const std::size_t taken = name.size() + columnsOf(value) + GAP;
  Line line = {{name}, {value}};
  const History& history = m_monitor.history(row.gauge);
  if (columns < taken + 5) return line;
  const std::size_t width = columns - taken;
  if (const auto shown = history.range(width)) {
    line.push_back({std::string(GAP, ' ')});
    line.push_back({history.graph(width, row.range(m_monitor.readings(), *shown), m_glyphs), Style::GRAPH});
  }
  return line;
}

Line LiveView::tableRow(const TaskRow& row, std::size_t columns) const {
  const bool selected = row.name == m_table.selected();
  const std::string text = rowText(TABLE, std::min(columns, TABLE_COLUMNS), [&](std::size_t column, std::size_t width) {
    if (static_cast<Column>(column) != Column::NAME) return cell(row, static_cast<Column>(column));
    const std::string mark = row.paused ? " (paused)" : "";
    return clipped(printable(row.name, m_glyphs), width - std::min(width, mark.size())) + mark;
  });
  const Style style = row.paused ? Style::PAUSED : Style::PLAIN;
  return {{text, selected ? Style::SELECTED : style}};
}

Frame LiveView::log(std::size_t rows, std::size_t columns) const {
  const std::string path = m_logPath.empty() ? "This program keeps no log." : printable(m_logPath, m_glyphs);
  Frame frame = {{{"Log  ", Style::TITLE}, {path}}};
  static constexpr std::size_t TAIL = std::size_t{64} << 10U;
  const auto text = m_logPath.empty() ? std::nullopt : readTail(m_logPath, TAIL);
  if (!text) {
    if (!m_logPath.empty()) frame.push_back({{"There is no such file now."}});
    return frame;
  }
  std::vector<std::string> lines;
  for (const std::string_view line : linesOf(*text)) {
    for (std::string& piece : wrapped(printable(line, m_glyphs), columns)) lines.push_back(std::move(piece));
  }
  const std::size_t shown = std::min(lines.size(), rows - std::min<std::size_t>(rows, 1));
  for (std::size_t i = lines.size() - shown; i < lines.size(); ++i) frame.push_back({{std::move(lines[i])}});
  return frame;
}

Frame LiveView::help(std::size_t columns) const {
  Frame frame = {{{"Keys", Style::TITLE}}};
  for (const Hint& hint : HELP) {
    const std::size_t width = columns < 40 ? 8 : 12;
    frame.push_back({{alignedLeft(hint.key, width), Style::HEADING}, {std::string(hint.text)}});
  }
  return frame;
}

}  // namespace corvane::inspector
