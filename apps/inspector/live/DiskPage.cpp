#include "apps/inspector/live/DiskPage.h"

#include <algorithm>
#include <array>
#include <utility>

#include "apps/inspector/terminal/Keys.h"
#include "apps/inspector/text/DiskReport.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/Table.h"

namespace corvane::inspector {

namespace {

constexpr std::array TABLE = {
    TableColumn{0, "Name", false, 16, 0},   TableColumn{0, "Size", true, 10, 28},
    TableColumn{0, "Type", false, 24, 84},  TableColumn{0, "System", false, 10, 64},
    TableColumn{0, "Label", false, 15, 52}, TableColumn{0, "Mounted at", false, 0, 36},
};

constexpr std::array HINTS = {Hint{"q", "quit"},  Hint{"h", "help"},    Hint{"v", "back"},
                              Hint{"m", "mount"}, Hint{"u", "unmount"}, Hint{"f", "force"}};

constexpr std::array HELP = {
    Hint{"v esc", "back to the overview"},
    Hint{"up down", "select a disk or partition; so do page up and down, home and end"},
    Hint{"m", "mount it: of a disk with partitions all of them"},
    Hint{"u", "unmount it"},
    Hint{"f", "unmount it even if it is in use, after a question"},
};

constexpr const char* READING = "Reading the disks.";

}  // namespace

DiskPage::DiskPage(Machine& machine, const Glyphs& glyphs, std::function<void()> changed)
    : Page("Disks", HINTS, HELP),
      m_machine(machine),
      m_glyphs(glyphs),
      m_changed(std::move(changed)),
      m_note(READING) {}

void DiskPage::open() {
  m_feed = m_machine.followDisks([this](Result<std::vector<DiskRow>> rows) {
    take(std::move(rows));
    m_changed();
  });
}

void DiskPage::close() {
  m_feed.reset();
  m_rows.clear();
  m_note = READING;
  m_selected.clear();
  m_cursor = {};
  m_question.reset();
}

void DiskPage::take(Result<std::vector<DiskRow>> rows) {
  m_note = rows ? "No disks." : rows.error().description;
  m_rows = rows ? std::move(*rows) : std::vector<DiskRow>();
  const auto found = std::ranges::find(m_rows, m_selected, &DiskRow::name);
  if (found != m_rows.end()) return m_cursor.select(static_cast<std::size_t>(found - m_rows.begin()));
  m_selected.clear();
  m_cursor.lose();
}

bool DiskPage::press(int pressed) {
  if (pressed == key::CONTROL_L || pressed == key::CONTROL_Z) return false;
  if (m_question) {
    const DiskRequest request = *m_question;
    if (pressed == 'y' || pressed == 'n' || pressed == key::ESCAPE) m_question.reset();
    if (pressed == 'y') begin(request);
    return true;
  }
  if (!m_request) m_message.clear();
  if (m_cursor.press(pressed, m_rows.size())) {
    if (const auto place = m_cursor.selected()) m_selected = m_rows[*place].name;
    return true;
  }
  if (pressed != 'm' && pressed != 'u' && pressed != 'f') return false;
  ask(pressed == 'm', pressed == 'f');
  return true;
}

void DiskPage::ask(bool mounts, bool force) {
  if (m_request) return;  // the message says what is under way
  const auto place = m_cursor.selected();
  if (!place) {
    m_message = "Select a disk or partition first.";
    return;
  }
  const bool whole = *place + 1 < m_rows.size() && m_rows[*place + 1].depth > m_rows[*place].depth;
  const DiskRequest request{mounts, m_selected, whole, force};
  if (force)
    m_question = request;
  else
    begin(request);
}

void DiskPage::begin(const DiskRequest& request) {
  m_message = printable((request.mounts ? "Mounting /dev/" : "Unmounting /dev/") + request.device, m_glyphs) + "...";
  m_request = m_machine.request(request, [this, request](const DiskOutcome& outcome) {
    m_message = outcomeText(request, outcome, m_glyphs);
    m_request.reset();
    m_changed();
  });
}

Line DiskPage::title(std::size_t columns) const {
  return titleLine(std::string(name()), columns, m_glyphs);
}

Frame DiskPage::prompt(std::size_t columns) const {
  if (m_question) {
    const std::string question = "Unmount /dev/" + printable(m_question->device, m_glyphs) + " even if it is in use";
    return {{{clipped(question, std::max<std::size_t>(columns, 5) - 5) + "? y/n", Style::HEADING}}};
  }
  Frame lines;
  if (!m_message.empty())
    for (std::string& line : wrapped(m_message, columns)) lines.push_back({{std::move(line), Style::HEADING}});
  return lines;
}

Frame DiskPage::draw(std::size_t rows, std::size_t columns) {
  if (m_rows.empty()) return {{{printable(m_note, m_glyphs)}}};
  Frame frame;
  if (rows > 2) frame.push_back(headingLine(TABLE, TABLE.size(), false, columns, m_glyphs));
  const auto names = treeNames(m_rows, m_glyphs);
  const auto [first, last] = m_cursor.shown(m_rows.size(), rows - frame.size());
  for (std::size_t i = first; i < last; ++i) {
    const DiskRow& row = m_rows[i];
    const std::array<std::string, TABLE.size()> cells = {names[i],       bytes(row.size), typeOf(row),
                                                         row.fileSystem, row.label,       mountsOf(row)};
    std::string text = rowText(TABLE, columns, [&](std::size_t column, std::size_t width) {
      return clipped(column == 0 ? cells[0] : printable(cells.at(column), m_glyphs), width);
    });
    frame.push_back({{std::move(text), row.name == m_selected ? Style::SELECTED : Style::PLAIN}});
  }
  return frame;
}

}  // namespace corvane::inspector
