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
                                           {"one\r\ntwo\rthree", {"one\r\n", "two\rthree"}},
                                           {many(1022) + "\nend", {many(1022) + "\n", "end"}},
                                           {many(1023) + "\nend", {many(1023), "\n", "end"}},
                                           {many(2000) + "\n", {many(1023), many(977) + "\n"}},
                                           {"\uFEFF\u00e4\u20ac\U0001F600\n", {"\uFEFF\u00e4\u20ac\U0001F600\n"}},
                                           {many(1021) + cut + "y\n", {many(1021) + "\uFFFD", "\uFFFDy\n"}},
                                           {many(1022) + cut + "y\n", {many(1022) + "\uFFFD", "\uFFFD\uFFFDy\n"}},
                                           {string("a\0b\n\0c\nd\n", 9), {"a", "", "d\n"}}};
  for (const auto& [bytes, lines] : rows) EXPECT_EQ(linesOf(bytes), lines);
}

// What is replaced by how many U+FFFD, here "?".
TEST_F(LineReaderTest, WhatIsNotUtf8IsReplacedByMaximalParts) {
  const auto lines =
      linesOf("\x80z\xFF\xFEz\xC3z\xC0\xAFz\xED\xA0\x80z\xE2\x82z\xF4\x90\x80\x80z\xF0\x9F\x98\xE2\x82\xACz");
  EXPECT_EQ(std::regex_replace(lines.at(0), std::regex("\uFFFD"), "?"), "?z??z?z??z???z?z????z?\u20acz");
}

TEST_F(LineReaderTest, LinesOfALargeFileAreWholeAndEachIsRepaired) {
  string bytes;
  Lines lines;
  for (std::size_t size = 0; size < 900; ++size) {
    const string before(size, 'b'), after(size % 17, 'a');
    bytes += before + "\x80" + after + "\n";
    lines.push_back(before + "\uFFFD" + after + "\n");
  }
  EXPECT_EQ(linesOf(bytes), lines);
}

TEST_F(LineReaderTest, TriesToOpenAgainAndReportsEachFailure) {
  const string path = home / "later";
  LineReader reader(path);
  for (int i = 0; i < 2; ++i)
    EXPECT_THAT(complaintsAbout(std::move(reader)), EndsWith(": Cannot open file: " + path + "\n"));
  home.write("later", "now\nand then\n");
  for (const char* line : {"now\n", "and then\n"}) EXPECT_EQ(reader.readline(), line);
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
  const std::jthread late([&writer] {
    for (const char* piece : {"fir", "st\nsecond"}) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      EXPECT_TRUE(writeAll(writer.get(), piece));
    }
    writer = FileDescriptor();
  });
  for (const char* line : {"first\n", "second"}) EXPECT_EQ(reader.readline(), line);
}

}  // namespace
}  // namespace corvane
