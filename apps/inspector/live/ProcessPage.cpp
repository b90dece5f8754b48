#include "apps/inspector/live/ProcessPage.h"

#include <signal.h>

#include <algorithm>
#include <array>
#include <utility>

#include "apps/inspector/terminal/Keys.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProcessColumn.h"
#include "apps/inspector/text/Table.h"

namespace corvane::inspector {

namespace {

// The columns of PROCESS_COLUMNS that are shown, in this order, and how.
struct PageColumn {
  ProcessColumn column;
  char key;
  std::size_t width;
  std::size_t fromColumns;
};

constexpr std::array PAGE_COLUMNS = {
    PageColumn{ProcessColumn::PID, 'i', 7, 12},     PageColumn{ProcessColumn::PARENT, 'a', 9, 61},
    PageColumn{ProcessColumn::USER, 'u', 10, 47},   PageColumn{ProcessColumn::STATE, 's', 5, 52},
    PageColumn{ProcessColumn::KIND, 'd', 8, 75},    PageColumn{ProcessColumn::PROCESSOR, 'c', 8, 27},
    PageColumn{ProcessColumn::MEMORY, 'm', 10, 37}, PageColumn{ProcessColumn::THREADS, 't', 6, 67},
    PageColumn{ProcessColumn::TIME, 'e', 10, 90},   PageColumn{ProcessColumn::FOOTPRINT, 'f', 11, 48},
    PageColumn{ProcessColumn::READ, 'r', 10, 58},   PageColumn{ProcessColumn::WRITTEN, 0, 10, 68},
    PageColumn{ProcessColumn::NAME, 'n', 18, 0},    PageColumn{ProcessColumn::COMMAND, 'o', 0, 105},
};

// What is on the screen: all columns, or those without figures.
struct PageTable {
  explicit PageTable(bool hasFigures) {
    for (const PageColumn& column : PAGE_COLUMNS) {
      if (isFigure(column.column) && !hasFigures) continue;
      const ProcessColumnStyle& style = styleOf(column.column);
      shown.push_back(column.column);
      // Figures take the place of what is less important then.
      const bool yields = hasFigures && !isFigure(column.column) && column.fromColumns > 40;
      columns.push_back(
          {column.key, style.title, style.isNumber, column.width, column.fromColumns + (yields ? 31 : 0)});
    }
  }

  std::vector<ProcessColumn> shown;
  std::vector<TableColumn> columns;
};

const PageTable& table(bool hasFigures) {
  static const PageTable PLAIN(false), WITH_FIGURES(true);
  return hasFigures ? WITH_FIGURES : PLAIN;
}

struct Signal {
  Hint hint;
  int number;
};

constexpr std::array SIGNALS = {
    Signal{{"t", "TERM"}, SIGTERM}, Signal{{"i", "INT"}, SIGINT},   Signal{{"h", "HUP"}, SIGHUP},
    Signal{{"k", "KILL"}, SIGKILL}, Signal{{"s", "STOP"}, SIGSTOP}, Signal{{"c", "CONT"}, SIGCONT},
    Signal{{"q", "QUIT"}, SIGQUIT}, Signal{{"1", "USR1"}, SIGUSR1}, Signal{{"2", "USR2"}, SIGUSR2},
};

constexpr std::array HINTS = {Hint{"q", "quit"},   Hint{"h", "help"},          Hint{"p", "back"},
                              Hint{"/", "filter"}, Hint{"k", "send a signal"}, Hint{"underlined letters", "sort"}};

constexpr std::array HELP = {
    Hint{"p esc", "back to the overview"},
    Hint{"up down", "select a process; so do page up and down, home and end"},
    Hint{"letters", "sort by the column in whose title they are underlined; a second press reverses the order"},
    Hint{"/", "filter by part of the name, command or user, or by number; return keeps it, esc clears it"},
    Hint{"k", "send a signal to the selected process, after two questions"},
    Hint{"g", "with the memory and disk figures of all users' processes, from the helper; again: without"},
};

constexpr char ENDED = 'Z';
constexpr char STOPPED = 'T';

constexpr std::size_t LONGEST_FILTER = 64;  // bytes

bool areSame(const ProcessRow& a, const ProcessRow& b) {
  return a.pid == b.pid && a.started == b.started;
}

bool isPrintable(int pressed) {
  return pressed >= ' ' && pressed <= 0xff;
}

}  // namespace

ProcessPage::ProcessPage(Machine& machine, const Glyphs& glyphs, std::function<void()> changed)
    : Page("Processes", HINTS, HELP), m_machine(machine), m_glyphs(glyphs), m_changed(std::move(changed)) {}

void ProcessPage::open() {
  follow();
}

void ProcessPage::follow() {
  m_feed = m_machine.followProcesses(m_hasFigures, [this](Result<std::vector<ProcessRow>> rows) {
    take(std::move(rows));
    m_changed();
  });
}

void ProcessPage::take(Result<std::vector<ProcessRow>> rows) {
  m_failure = rows ? std::string() : rows.error().description;
  m_rows = rows ? std::move(*rows) : std::vector<ProcessRow>();
  const auto before = m_selected;
  arrange();
  if (!before || !rows || before->state == ENDED) return;
  const auto isAlive = [&before](const ProcessRow& row) { return areSame(row, *before) && row.state != ENDED; };
  if (std::ranges::none_of(m_rows, isAlive)) m_message = nameOf(*before) + " has ended.";
}

void ProcessPage::close() {
  m_feed.reset();
  m_hasFigures = false;
  if (isFigure(m_column)) sortBy(ProcessColumn::PROCESSOR, true);
  m_rows.clear();
  m_failure.clear();
  m_selected.reset();
  arrange();
  m_cursor = {};
  m_mode = Mode::BROWSE;
  m_message.clear();
}

void ProcessPage::sortBy(ProcessColumn column, bool descending) {
  m_column = column;
  m_descending = descending;
  arrange();
}

void ProcessPage::arrange() {
  sortRows(m_rows, m_column, m_descending);
  m_shown.clear();
  const ProcessFilter filter(m_filter);
  for (const ProcessRow& row : m_rows)
    if (m_filter.empty() || filter.matches(row)) m_shown.push_back(&row);
  if (!m_selected) return;
  const auto found =
      std::ranges::find_if(m_shown, [this](const ProcessRow* row) { return areSame(*row, *m_selected); });
  if (found == m_shown.end()) {
    m_selected.reset();
    m_cursor.lose();
  } else {
    m_selected = **found;
    m_cursor.select(static_cast<std::size_t>(found - m_shown.begin()));
  }
}

bool ProcessPage::press(int pressed) {
  if (pressed == key::CONTROL_L || pressed == key::CONTROL_Z) return false;
  m_message.clear();
  switch (m_mode) {
    case Mode::BROWSE:
      return browse(pressed);
    case Mode::FILTER:
      typeFilter(pressed);
      break;
    case Mode::CHOOSE_SIGNAL:
      for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        if (pressed != SIGNALS[i].hint.key.front()) continue;
        m_signal = i;
        m_mode = Mode::CONFIRM;
      }
      if (pressed == key::ESCAPE) m_mode = Mode::BROWSE;
      break;
    case Mode::CONFIRM:
      confirm(pressed);
      break;
  }
  return true;
}

bool ProcessPage::browse(int pressed) {
  if (moveBy(pressed)) return true;
  if (pressed == '/') {
    m_mode = Mode::FILTER;
    return true;
  }
  if (pressed == 'k') {
    m_target = m_selected;
    if (m_target)
      m_mode = Mode::CHOOSE_SIGNAL;
    else
      m_message = "Select a process first.";
    return true;
  }
  if (pressed == 'g') {
    m_hasFigures = !m_hasFigures;
    if (isFigure(m_column)) sortBy(ProcessColumn::PROCESSOR, true);
    if (m_hasFigures) m_message = "Asking for the figures of all processes.";
    follow();
    return true;
  }
  if (pressed == key::ESCAPE && !m_filter.empty()) {
    m_filter.clear();
    arrange();
    return true;
  }
  const auto sorted = std::ranges::find(PAGE_COLUMNS, pressed, &PageColumn::key);
  if (sorted == PAGE_COLUMNS.end() || (isFigure(sorted->column) && !m_hasFigures)) return false;
  const ProcessColumn column = sorted->column;
  sortBy(column, column == m_column ? !m_descending : styleOf(column).isNumber);
  return true;
}

void ProcessPage::typeFilter(int pressed) {
  if (moveBy(pressed)) return;
  if (pressed == key::ENTER || pressed == key::ESCAPE) m_mode = Mode::BROWSE;
  if (pressed == key::ESCAPE) m_filter.clear();
  if (pressed == key::BACKSPACE) {
    if (m_filter.empty()) m_mode = Mode::BROWSE;
    m_filter = clipped(m_filter, std::max<std::size_t>(columnsOf(m_filter), 1) - 1);
  }
  if (isPrintable(pressed) && m_filter.size() < LONGEST_FILTER) m_filter += static_cast<char>(pressed);
  arrange();
}

void ProcessPage::confirm(int pressed) {
  if (pressed == 'y' || pressed == 'Y') send();
  if (pressed == 'y' || pressed == 'Y' || pressed == 'n' || pressed == 'N' || pressed == key::ESCAPE)
    m_mode = Mode::BROWSE;
}

void ProcessPage::send() {
  const std::string name(SIGNALS.at(m_signal).hint.text);
  const auto sent = m_machine.signal(m_target->pid, m_target->started, SIGNALS.at(m_signal).number);
  m_message = (sent ? "Sent SIG" : "Could not send SIG") + name + " to " + nameOf(*m_target);
  m_message += sent ? "." : ": " + sent.error().description + ".";
}

bool ProcessPage::moveBy(int pressed) {
  if (!m_cursor.press(pressed, m_shown.size())) return false;
  if (const auto place = m_cursor.selected()) m_selected = *m_shown[*place];
  return true;
}

std::string ProcessPage::nameOf(const ProcessRow& row) const {
  return std::to_string(row.pid) + " " + printable(row.name, m_glyphs);
}

Line ProcessPage::title(std::size_t columns) const {
  std::string text(name());
  if (!m_rows.empty()) text += ", " + std::to_string(m_shown.size());
  if (!m_rows.empty() && !m_filter.empty())
    text += " of " + std::to_string(m_rows.size()) + " with \"" + printable(m_filter, m_glyphs) + "\"";
  return titleLine(text, columns, m_glyphs);
}

Line ProcessPage::row(const ProcessRow& row, std::size_t columns) const {
  const PageTable& shown = table(m_hasFigures);
  std::string text = rowText(shown.columns, columns, [&](std::size_t index, std::size_t width) {
    return clipped(printable(styleOf(shown.shown.at(index)).cell(row), m_glyphs), width);
  });
  if (m_selected && areSame(row, *m_selected)) return {{std::move(text), Style::SELECTED}};
  const bool waits = row.state == STOPPED || row.state == ENDED;
  return {{std::move(text), waits ? Style::PAUSED : row.kind == ProcessKind::KERNEL ? Style::DIM : Style::PLAIN}};
}

Frame ProcessPage::prompt(std::size_t columns) const {
  switch (m_mode) {
    case Mode::BROWSE:
      return m_message.empty() ? Frame() : Frame{{{m_message, Style::HEADING}}};
    case Mode::FILTER: {
      // Shows the end of the filter.
      const std::string text = printable(m_filter, m_glyphs);
      std::string_view seen = text;
      while (columnsOf(seen) + 2 > std::max<std::size_t>(columns, 2)) seen.remove_prefix(clipped(seen, 1).size());
      return {{{"/", Style::HEADING}, {std::string(seen)}, {" ", Style::SELECTED}}};
    }
    case Mode::CHOOSE_SIGNAL: {
      std::array<Hint, SIGNALS.size() + 1> hints;
      std::ranges::transform(SIGNALS, hints.begin(), &Signal::hint);
      hints.back() = {"esc", "none"};
      return {{{"Which signal to " + nameOf(*m_target) + "?", Style::HEADING}}, hintLine(hints, columns)};
    }
    case Mode::CONFIRM: {
      static constexpr std::string_view END = "? y/n";
      const std::string question =
          "Send SIG" + std::string(SIGNALS.at(m_signal).hint.text) + " to " + nameOf(*m_target);
      return {{{clipped(question, columns - std::min(columns, END.size())), Style::HEADING},
               {std::string(END), Style::HEADING}}};
    }
  }
  return {};
}

Frame ProcessPage::draw(std::size_t rows, std::size_t columns) {
  Frame frame;
  if (rows > 2) {
    const PageTable& shown = table(m_hasFigures);
    const auto sorted = std::ranges::find(shown.shown, m_column) - shown.shown.begin();
    frame.push_back(headingLine(shown.columns, static_cast<std::size_t>(sorted), m_descending, columns, m_glyphs));
  }
  const std::size_t height = rows - frame.size();
  if (!m_failure.empty()) frame.push_back({{printable(m_failure, m_glyphs)}});
  const auto [first, last] = m_cursor.shown(m_shown.size(), height);
  for (std::size_t i = first; i < last; ++i) frame.push_back(row(*m_shown[i], columns));
  return frame;
}

}  // namespace corvane::inspector
