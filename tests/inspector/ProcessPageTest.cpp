#include "apps/inspector/live/ProcessPage.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/model/ProcessSample.h"
#include "apps/inspector/model/ProcessSignal.h"
#include "apps/inspector/terminal/Keys.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProcessColumn.h"
#include "corvane/core/Text.h"
#include "corvane/system/Task.h"
#include "tests/inspector/FrameText.h"

namespace corvane::inspector {

namespace {

// A page that is not on the screen of a live view: it is given its rows.
class GivenPage : public ProcessPage {
 public:
  explicit GivenPage(const Glyphs& glyphs) : ProcessPage(source().machine(), glyphs, [] {}) {}

 private:
  static Source& source() {
    static auto& source = *new LocalSource("");
    return source;
  }
};

ProcessRow process(pid_t pid, std::string name, double share, std::int64_t started = 1) {
  ProcessRow row;
  row.pid = pid;
  row.name = std::move(name);
  row.processor = share;
  row.started = started;
  return row;
}

void press(ProcessPage& page, std::string_view keys) {
  for (const char pressed : keys) page.press(static_cast<unsigned char>(pressed));
}

// The name in the row that stands out.
std::string selected(ProcessPage& page, std::size_t rows = 24) {
  for (const Line& line : compose(page, rows, 80)) {
    for (const Span& span : line) {
      if (span.style == Style::SELECTED) return std::string(trimmed(std::string_view(span.text).substr(65)));
    }
  }
  return "";
}

std::string lastLine(ProcessPage& page, std::size_t columns = 80) {
  return textOf({compose(page, 24, columns).back()});
}

bool shows(ProcessPage& page, std::string_view text, std::size_t rows = 24) {
  return textOf(compose(page, rows, 100)).find(text) != std::string::npos;
}

TEST(ProcessPage, SelectionFollowsItsProcessAndEndsWithIt) {
  GivenPage page(Glyphs::ASCII);
  page.take(std::vector{process(1, "one", 5), process(2, "two", 9), process(3, "three", 1)});
  EXPECT_EQ(selected(page), "");
  page.press('k');
  EXPECT_EQ(lastLine(page), "Select a process first.\n");
  page.press(key::DOWN);
  EXPECT_EQ(selected(page), "two") << "the busiest";
  page.take(std::vector{process(1, "one", 5), process(2, "two", 0), process(3, "three", 1)});
  EXPECT_EQ(selected(page), "two");
  page.press('n');
  page.press(key::UP);
  EXPECT_EQ(selected(page), "three");
  page.take(std::vector{process(1, "one", 5), process(2, "two", 0), process(3, "three", 1, 2)});
  EXPECT_EQ(selected(page), "") << "another process with the same number";
  EXPECT_EQ(lastLine(page), "3 three has ended.\n");
  page.press(key::DOWN);
  EXPECT_EQ(selected(page), "three") << "at the same place";
  ProcessRow zombie = process(3, "three", 1, 2);
  zombie.state = 'Z';
  page.take(std::vector{zombie});
  EXPECT_EQ(selected(page), "three");
  EXPECT_EQ(lastLine(page), "3 three has ended.\n") << "though its parent has not noticed";
  page.take(failure("posix", EMFILE, "No table."));
  EXPECT_EQ(selected(page), "");
  EXPECT_TRUE(shows(page, "\nNo table."));
  page.take(std::vector<ProcessRow>());
  for (const int pressed : {key::UP, key::DOWN, key::PAGE_UP, key::PAGE_DOWN, key::HOME, key::END}) page.press(pressed);
  EXPECT_EQ(selected(page), "");
}

TEST(ProcessPage, ScrollsAlongWithTheSelection) {
  GivenPage page(Glyphs::ASCII);
  std::vector<ProcessRow> rows;
  for (pid_t i = 1; i <= 100; ++i) rows.push_back(process(i, "name" + std::to_string(i), 1000 - i));
  page.take(std::move(rows));
  compose(page, 13, 80);  // ten of them
  for (const auto& [pressed, name, first, last] :
       {std::tuple(key::PAGE_DOWN, "name10", 1, 10), std::tuple(key::DOWN, "name11", 2, 11),
        std::tuple(key::UP, "name10", 2, 11), std::tuple(key::PAGE_DOWN, "name20", 11, 20),
        std::tuple(key::PAGE_UP, "name10", 10, 19), std::tuple(key::END, "name100", 91, 100),
        std::tuple(key::DOWN, "name100", 91, 100), std::tuple(key::HOME, "name1", 1, 10)}) {
    page.press(pressed);
    EXPECT_EQ(selected(page, 13), name);
    for (const int i : {first, last}) EXPECT_TRUE(shows(page, "  name" + std::to_string(i) + " ", 13)) << name << i;
    for (const int i : {first - 1, last + 1})
      EXPECT_FALSE(shows(page, "  name" + std::to_string(i) + " ", 13)) << name << i;
  }
  page.press('i');
  EXPECT_TRUE(shows(page, "  name1 ", 13)) << "still selected, at the other end";
  EXPECT_EQ(selected(page, 5), "name1");
  EXPECT_TRUE(shows(page, "PID", 3));
  EXPECT_FALSE(shows(page, "PID", 2)) << "the last rows are for processes";
}

TEST(ProcessPage, SortsByTheUnderlinedLetters) {
  GivenPage page(Glyphs::ASCII);
  std::set<ProcessColumn> sorted;
  const Line heading = compose(page, 24, 120).at(1);
  for (const Span& span : heading) {
    if (span.style != Style::HOTKEY) continue;
    const int letter = std::tolower(static_cast<unsigned char>(span.text.front()));
    page.sortBy(page.column() == ProcessColumn::PID ? ProcessColumn::NAME : ProcessColumn::PID, false);
    page.press(letter);
    EXPECT_EQ(page.descending(), styleOf(page.column()).isNumber) << span.text;
    page.press(letter);
    EXPECT_NE(page.descending(), styleOf(page.column()).isNumber) << span.text;
    sorted.insert(page.column());
  }
  EXPECT_EQ(sorted.size(), 11U);
}

TEST(ProcessPage, ShowsFiguresOnlyIfAsked) {
  GivenPage page(Glyphs::ASCII);
  EXPECT_FALSE(shows(page, "Footprint"));
  press(page, "gf");
  EXPECT_EQ(page.column(), ProcessColumn::FOOTPRINT);
  EXPECT_TRUE(shows(page, "Footprint"));
  page.close();
  EXPECT_EQ(page.column(), ProcessColumn::PROCESSOR);
  EXPECT_FALSE(shows(page, "Footprint"));
}

TEST(ProcessPage, FiltersWhatIsTyped) {
  GivenPage page(Glyphs::UNICODE);
  page.take(std::vector{process(1, "quack", 9), process(2, "käse", 5), process(3, "kiq", 1)});
  page.press(key::DOWN);
  press(page, "/k");
  EXPECT_EQ(selected(page), "quack");
  EXPECT_EQ(lastLine(page), "/k \n");
  press(page, "ä");
  EXPECT_TRUE(shows(page, "Processes, 1 of 3 with \"kä\" "));
  EXPECT_FALSE(shows(page, "quack"));
  page.press(key::BACKSPACE);
  EXPECT_EQ(lastLine(page), "/k \n") << "a character, not a byte";
  EXPECT_TRUE(shows(page, "quack"));
  page.press(key::BACKSPACE);
  press(page, "q");
  page.press(key::DOWN);
  EXPECT_EQ(selected(page), "quack") << "what was hidden is no longer selected";
  page.press(key::ENTER);
  EXPECT_TRUE(shows(page, "2 of 3 with \"q\""));
  EXPECT_FALSE(page.press('q')) << "no longer typing: it quits";
  EXPECT_TRUE(page.press(key::ESCAPE)) << "clears the filter";
  EXPECT_TRUE(shows(page, "Processes, 3 "));
  EXPECT_FALSE(page.press(key::ESCAPE)) << "back";
  press(page, "/");
  EXPECT_FALSE(page.press(key::CONTROL_L)) << "not text";
}

// A child of the test, and a page on which it is selected.
class ProcessPageSignals : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_child->launch());
    const auto rows = ProcessSampler().sample();
    ASSERT_TRUE(rows);
    for (const ProcessRow& row : *rows) {
      if (row.pid == m_child->processIdentifier()) m_row = row;
      if (row.pid == getpid()) m_self = row;
    }
    m_name = std::to_string(m_row.pid) + " sleep";
    stand(m_row);
  }
  void TearDown() override {
    m_child->kill();
    m_child->waitUntilExit();
  }

  void stand(const ProcessRow& row) {
    m_page.take(std::vector{row});
    m_page.press(key::HOME);
  }

  const std::shared_ptr<Task> m_child = Task::create({.executable = "/bin/sleep", .arguments = {"1000"}});
  GivenPage m_page{Glyphs::ASCII};
  ProcessRow m_row;
  ProcessRow m_self;
  std::string m_name;
};

TEST_F(ProcessPageSignals, AreSentOnlyAfterTwoAnswers) {
  for (const char* keys : {"k\x1b", "kt\x1b", "ktn", "kkN", "kt qxkt\r\n\x1b", "ky\x1b", "y", "kt\x1by"}) {
    press(m_page, keys);
    EXPECT_TRUE(lastLine(m_page).starts_with("q quit")) << lastLine(m_page);
  }
  EXPECT_TRUE(m_child->isRunning());
  press(m_page, "k");
  EXPECT_TRUE(shows(m_page, "\nWhich signal to " + m_name + "?\nt TERM  i INT "));
  press(m_page, "t");
  EXPECT_EQ(lastLine(m_page), "Send SIGTERM to " + m_name + "? y/n\n");
  m_page.take(std::vector{process(m_row.pid + 1, "other", 1)});
  m_page.press(key::DOWN);
  EXPECT_EQ(lastLine(m_page), "Send SIGTERM to " + m_name + "? y/n\n");
  press(m_page, "y");
  EXPECT_EQ(lastLine(m_page), "Sent SIGTERM to " + m_name + ".\n");
  m_child->waitUntilExit();
  EXPECT_EQ(m_child->terminationStatus(), SIGTERM);
  stand(m_row);
  press(m_page, "kky");
  EXPECT_EQ(lastLine(m_page), "Could not send SIGKILL to " + m_name + ": it has ended.\n");
}

TEST_F(ProcessPageSignals, NeverReachTheWrongProcess) {
  ProcessRow before = m_row;
  before.started -= 10'000;  // one clock tick
  stand(before);
  press(m_page, "kky");
  EXPECT_EQ(lastLine(m_page), "Could not send SIGKILL to " + m_name + ": it has ended.\n");
  EXPECT_TRUE(m_child->isRunning());
  stand(m_self);
  for (const char* keys : {"kky", "ksy"}) {
    press(m_page, keys);
    EXPECT_NE(lastLine(m_page, 200).find("it is this program"), std::string::npos);
  }
  for (const pid_t group : {0, -1}) EXPECT_EQ(sendSignal(group, 0, 0).error().code, EINVAL) << "a group";
}

TEST(ProcessPage, FitsEveryScreen) {
  GivenPage page(Glyphs::UNICODE);
  page.take(std::vector{process(4'194'304, std::string(300, 'x') + "\x1b[2J\n名", 1e9), process(1, "n", 1)});
  page.press(key::HOME);
  for (const std::string& keys : {std::string(), std::string("k"), std::string("t"), "\x1b/" + std::string(70, 'n')}) {
    press(page, keys);
    for (std::size_t height = 1; height <= 25; ++height) {
      for (std::size_t columns = 5; columns <= 130; columns += 5) {
        const std::string text = textOf(compose(page, height, columns));
        ASSERT_EQ(std::ranges::count(text, '\n'), static_cast<std::ptrdiff_t>(height));
        ASSERT_EQ(text.find('\x1b'), text.npos);
        ASSERT_EQ(text.ends_with("? y/n\n"), keys == "t") << columns;
      }
    }
  }
}

}  // namespace

}  // namespace corvane::inspector
