#include "apps/inspector/live/PowerPage.h"

#include <array>
#include <utility>

#include "apps/inspector/text/AssertionText.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/Table.h"

namespace corvane::inspector {

namespace {

constexpr std::array TABLE = {
    TableColumn{0, "PID", true, 7, 12},
    TableColumn{0, "Process", false, 20, 0},
    TableColumn{0, "Type", false, 29, 51},
    TableColumn{0, "Reason", false, 0, 70},
};

constexpr std::array HINTS = {Hint{"q", "quit"}, Hint{"h", "help"}, Hint{"w", "back"}, Hint{"up down", "scroll"}};

constexpr std::array HELP = {Hint{"w esc", "back to the overview"},
                             Hint{"up down", "scroll; so do page up and down, home and end"}};

constexpr const char* ASKING = "Asking who keeps the machine awake.";

}  // namespace

PowerPage::PowerPage(Machine& machine, const Glyphs& glyphs, std::function<void()> changed)
    : Page("Power", HINTS, HELP), m_machine(machine), m_glyphs(glyphs), m_changed(std::move(changed)), m_note(ASKING) {}

void PowerPage::open() {
  m_feed = m_machine.followAssertions([this](Result<std::vector<AssertionRecord>> records) {
    take(std::move(records));
    m_changed();
  });
}

void PowerPage::take(Result<std::vector<AssertionRecord>> records) {
  m_note = records ? "Nobody keeps the machine awake." : records.error().description;
  m_records = records ? std::move(*records) : std::vector<AssertionRecord>();
}

void PowerPage::close() {
  m_feed.reset();
  m_records.clear();
  m_note = ASKING;
  m_scroll.reset();
}

Line PowerPage::title(std::size_t columns) const {
  std::string text(name());
  if (!m_records.empty()) text += ", " + std::to_string(m_records.size()) + m_scroll.range();
  return titleLine(std::move(text), columns, m_glyphs);
}

Line PowerPage::row(const AssertionRecord& record, std::size_t columns) const {
  const std::array<std::string, TABLE.size()> cells = {std::to_string(record.pid), processOf(record), record.type,
                                                       reasonOf(record)};
  return {{rowText(TABLE, columns, [&](std::size_t column, std::size_t width) {
    return clipped(printable(cells.at(column), m_glyphs), width);
  })}};
}

Frame PowerPage::draw(std::size_t rows, std::size_t columns) {
  if (m_records.empty()) return {{{printable(m_note, m_glyphs)}}};
  Frame lines;
  for (const AssertionRecord& record : m_records) lines.push_back(row(record, columns));
  Frame frame = {headingLine(TABLE, TABLE.size(), false, columns, m_glyphs)};
  for (Line& line : m_scroll.cut(std::move(lines), rows - std::min<std::size_t>(rows, 1)))
    frame.push_back(std::move(line));
  return frame;
}

}  // namespace corvane::inspector
