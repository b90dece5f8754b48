#include "corvane/infra/LineReader.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <regex>

#include "corvane/core/Files.h"
#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using std::string;
using namespace testing;
using Lines = std::vector<string>;

struct LineReaderTest : Test {
  TempHome home;

  Lines linesOf(const string& bytes) const {
    LineReader reader(home.write("file", bytes));
    Lines lines;
    while (auto line = reader.readline()) lines.push_back(std::move(*line));
    EXPECT_EQ(reader.readline(), std::nullopt) << "the end stays the end";
    return lines;
  }

  static string complaintsAbout(LineReader&& reader) {
    return standardErrorOf([&] { EXPECT_EQ(reader.readline(), std::nullopt); });
  }
};

TEST_F(LineReaderTest, LinesKeepTheirEndAndLongOnesComeInPieces) {
  const auto many = [](std::size_t count) { return string(count, 'x'); };
  const string cut = "\u20ac";
  const std::pair<string, Lines> rows[] = {{"", {}},
                                           {"one\ntwo", {"one\n", "two"}},
                                           {"one\n\n\n", {"one\n", "\n", "\n"}},
                                           {"one\r\ntwo\rthree", {"one\r\n", "two\rthree"}},
                                           {many(1022) + "\nend", {many(1022) + "\n", "end"}},
                                           {many(1023) + "\nend", {many(1023), "\n", "end"}},
                                           {many(2000) + "\n", {many(1023), many(977) + "\n"}},
                                           {many(3000), {many(1023), many(1023), many(954)}},
                                           {"\uFEFF\u00e4\u20ac\U0001F600\n", {"\uFEFF\u00e4\u20ac\U0001F600\n"}},
                                           {many(1021) + cut + "y\n", {many(1021) + "\uFFFD", "\uFFFDy\n"}},
                                           {many(1022) + cut + "y\n", {many(1022) + "\uFFFD", "\uFFFD\uFFFDy\n"}},
                                           {many(1020) + cut + "y\n", {many(1020) + cut, "y\n"}},
                                           {string("a\0b\n\0c\nd\n", 9), {"a", "", "d\n"}}};
  for (const auto& [bytes, lines] : rows) EXPECT_EQ(linesOf(bytes), lines);
}

// Table 3-8 and others of the Unicode standard: what is replaced by how many U+FFFD, here "?".
TEST_F(LineReaderTest, WhatIsNotUtf8IsReplacedByMaximalParts) {
  const string bytes =
      "\x80z\n\xFF\xFEz\n\xC3z\n\xC0\xAFz\n\xE0\x80\xAFz\n\xED\xA0\x80z\n\xE2\x82z\n\xF4\x90\x80\x80z\n\xF8\x88\x80\x80"
      "\x80z\n\xE1\x80\xE2\xF0\x91\x92\xF1\xBFz\n\xF0\x9F\x98\xE2\x82\xACz\nsome plain text \xE9 and more\n\xE2\x82";
  string shown;
  for (const string& line : linesOf(bytes)) shown += line;
  EXPECT_EQ(std::regex_replace(shown, std::regex("\uFFFD"), "?"),
            "?z\n??z\n?z\n??z\n???z\n???z\n?z\n????z\n?????z\n????z\n?\u20acz\nsome plain text ? and more\n?");
}

TEST_F(LineReaderTest, TriesToOpenAgainAndReportsEachFailure) {
  const string path = home / "later";
  LineReader reader(path);
  for (int i = 0; i < 2; ++i)
    EXPECT_THAT(complaintsAbout(std::move(reader)), EndsWith(": Cannot open file: " + path + "\n"));
  home.write("later", "now\n");
  EXPECT_EQ(reader.readline(), "now\n");
  home.write("later", "now\nand then\n");
  EXPECT_EQ(reader.readline(), "and then\n") << "the file stays open";
}

TEST_F(LineReaderTest, WhatIsNotAReadableFileGivesNoLines) {
  ASSERT_EQ(mkfifo((home / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(complaintsAbout(LineReader(home / "pipe")), "") << "nobody writes to the pipe, and nobody waits";
  EXPECT_EQ(complaintsAbout(LineReader(home.path())), "") << "a folder can be opened, but not read";
  EXPECT_EQ(complaintsAbout(LineReader(home.write("empty", ""))), "") << "the end is not a failure";
  EXPECT_THAT(complaintsAbout(LineReader("")), EndsWith(": Cannot open file: \n"));
}

TEST_F(LineReaderTest, WaitsForTheLinesOfAPipeThatHasAWriter) {
  const string path = home / "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  // Open for reading and writing, so that the reader finds a writer.
  FileDescriptor writer(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  LineReader reader(path);
  ASSERT_TRUE(writeAll(writer.get(), "first\n"));
  EXPECT_EQ(reader.readline(), "first\n");
  const std::jthread late([&writer] {
    for (const char* piece : {"sec", "ond\nthird"}) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      EXPECT_TRUE(writeAll(writer.get(), piece));
    }
    writer = FileDescriptor();
  });
  EXPECT_EQ(reader.readline(), "second\n");
  EXPECT_EQ(reader.readline(), "third");
  EXPECT_EQ(reader.readline(), std::nullopt);
}

TEST_F(LineReaderTest, ClosesItsFileAndDoesNotPassItToChildren) {
  const auto before = namesIn("/proc/self/fd").size();
  {
    LineReader reader(home.write("file", "line\n"));
    EXPECT_EQ(reader.readline(), "line\n");
    EXPECT_NE(std::system(("ls -l /proc/self/fd | grep -q " + (home / "file")).c_str()), 0);
  }
  EXPECT_EQ(namesIn("/proc/self/fd").size(), before);
}

}  // namespace
}  // namespace corvane
