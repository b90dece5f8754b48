#include "apps/inspector/live/QueuePage.h"

#include <algorithm>
#include <array>
#include <utility>

#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProgramText.h"
#include "apps/inspector/text/Table.h"

namespace corvane::inspector {

namespace {

constexpr std::array QUEUES = {
    TableColumn{0, "Serial queue", false, 24, 0},
    TableColumn{0, "Waiting", true, 9, 34},
    TableColumn{0, "Running for", true, 13, 48},
    TableColumn{0, "Item", false, 0, 60},
};

constexpr std::array TIMERS = {
    TableColumn{0, "Timer", false, 24, 0},
    TableColumn{0, "Period", true, 9, 34},
    TableColumn{0, "Running for", true, 13, 48},
};

constexpr std::array HINTS = {Hint{"q", "quit"}, Hint{"h", "help"}, Hint{"u", "back"}, Hint{"up down", "scroll"}};

constexpr std::array HELP = {Hint{"u esc", "back to the overview"},
                             Hint{"up down", "scroll; so do page up and down, home and end"}};

constexpr const char* ASKING = "Asking for the queues.";

std::string runningFor(std::int64_t since, Timeval time) {
  return since == 0 ? "-" : lengthText(secondsOf(std::max<std::int64_t>(0, time.nsec() - since)));
}

std::string longest(const LongestState& state) {
  if (state.duration == 0) return "-";
  return lengthText(secondsOf(state.duration)) + " from " + Timeval::nsec(state.began).localtime().substr(0, 12) +
         (state.name.empty() ? "" : ", " + state.name);
}

template <std::size_t COLUMNS>
Line row(const std::array<TableColumn, COLUMNS>& table, const std::array<std::string, COLUMNS>& cells,
         std::size_t columns, const Glyphs& glyphs) {
  return {{rowText(table, columns, [&](std::size_t column, std::size_t width) {
    return clipped(printable(cells.at(column), glyphs), width);
  })}};
}

}  // namespace

Frame queueLines(const QueueStates& queues, Timeval time, std::size_t columns, const Glyphs& glyphs) {
  Frame frame;
  static constexpr std::size_t NAMES = 14;
  const auto entry = [&](std::string_view name, const std::string& value) {
    const std::string left = alignedLeft(name, NAMES);
    frame.push_back({{left, Style::HEADING}, {clipped(printable(value, glyphs), std::max(columns, NAMES) - NAMES)}});
  };
  const QueueState& main = queues.main;
  const std::string running = main.runningSince == 0 ? "-" : runningFor(main.runningSince, time) + ", " + main.item;
  entry("Main queue", "waiting: " + std::to_string(main.depth));
  entry("Running for", running);
  entry("Longest wait", longest(queues.longestWait));
  entry("Longest item", longest(queues.longestItem));
  frame.emplace_back();
  frame.push_back(headingLine(QUEUES, QUEUES.size(), false, columns, glyphs));
  for (const QueueState& queue : queues.serial)
    frame.push_back(row(QUEUES,
                        {queue.label, std::to_string(queue.depth), runningFor(queue.runningSince, time), queue.item},
                        columns, glyphs));
  if (queues.timers.empty()) return frame;
  frame.emplace_back();
  frame.push_back(headingLine(TIMERS, TIMERS.size(), false, columns, glyphs));
  for (const TimerState& timer : queues.timers)
    frame.push_back(row(
        TIMERS, {timer.label, lengthText(static_cast<double>(timer.usecs) / 1e6), runningFor(timer.runningSince, time)},
        columns, glyphs));
  return frame;
}

QueuePage::QueuePage(Source& source, const Glyphs& glyphs, std::function<void()> changed)
    : ProgramPage("Queues", HINTS, HELP, source, glyphs), m_changed(std::move(changed)), m_note(ASKING) {}

void QueuePage::open() {
  m_feed = m_source.followQueues([this](Result<QueueStates> queues) {
    m_note = queues ? std::string() : queues.error().description;
    if (queues) {
      m_queues = std::move(*queues);
      m_time = Timeval();
    }
    m_changed();
  });
}

void QueuePage::close() {
  m_feed.reset();
  m_queues.reset();
  m_note = ASKING;
  m_scroll.reset();
}

Line QueuePage::title(std::size_t columns) const {
  return titleLine(titled(name()) + m_scroll.range(), columns, m_glyphs);
}

Frame QueuePage::draw(std::size_t rows, std::size_t columns) {
  if (!m_queues) return {{{printable(m_note, m_glyphs)}}};
  Frame lines = queueLines(*m_queues, m_time, columns, m_glyphs);
  if (isOld())
    for (Line& line : lines)
      for (Span& span : line) span.style = Style::DIM;
  return m_scroll.cut(std::move(lines), rows);
}

}  // namespace corvane::inspector
