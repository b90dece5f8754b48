#include "corvane/infra/LineReader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "corvane/core/Files.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using std::string;
using testing::ElementsAre;
using testing::HasSubstr;
using Lines = std::vector<string>;

Lines linesOf(const string& path) {
  LineReader reader(path);
  Lines lines;
  while (auto line = reader.readline()) lines.push_back(std::move(*line));
  EXPECT_EQ(reader.readline(), std::nullopt) << "the end stays the end";
  return lines;
}

// The same with what goes to standard error, which is where the log's lines go in a program without an identifier.
string complaintsAbout(LineReader& reader) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(reader.readline(), std::nullopt);
  return testing::internal::GetCapturedStderr();
}

TEST(LineReader, LinesKeepTheirEndAndLongOnesComeInPieces) {
  const auto many = [](std::size_t count) { return string(count, 'x'); };
  const string cut = "\u20ac";
  const struct {
    const char* what;
    string bytes;
    Lines lines;
  } rows[] = {
      {"nothing", "", {}},
      {"no line feed at the end", "one\ntwo", {"one\n", "two"}},
      {"a line feed at the end", "one\n\n\n", {"one\n", "\n", "\n"}},
      {"carriage returns", "one\r\ntwo\rthree", {"one\r\n", "two\rthree"}},
      {"just short enough", many(1022) + "\nend", {many(1022) + "\n", "end"}},
      {"one too long", many(1023) + "\nend", {many(1023), "\n", "end"}},
      {"2000 characters", many(2000) + "\n", {many(1023), many(977) + "\n"}},
      {"no line at all", many(3000), {many(1023), many(1023), many(954)}},
      {"UTF-8", "\u00e4\u20ac\U0001F600\n", {"\u00e4\u20ac\U0001F600\n"}},
      {"a byte order mark", "\uFEFFa\n", {"\uFEFFa\n"}},
      {"a character cut by the limit", many(1021) + cut + "y\n", {many(1021) + "\uFFFD", "\uFFFDy\n"}},
      {"cut after its first byte", many(1022) + cut + "y\n", {many(1022) + "\uFFFD", "\uFFFD\uFFFDy\n"}},
      {"not cut", many(1020) + cut + "y\n", {many(1020) + cut, "y\n"}},
      {"zero bytes", string("a\0b\n\0c\nd\n", 9), {"a", "", "d\n"}},
  };
  const TempHome home;
  for (const auto& [what, bytes, lines] : rows) EXPECT_EQ(linesOf(home.write("file", bytes)), lines) << what;
}

// Table 3-8 and others of the Unicode standard: what is replaced by how many U+FFFD.
TEST(LineReader, WhatIsNoUtf8IsReplacedByMaximalParts) {
  const std::pair<const char*, const char*> rows[] = {
      {"\x80z", "?z"},
      {"\xFF\xFEz", "??z"},
      {"\xC3z", "?z"},
      {"\xC0\xAFz", "??z"},
      {"\xE0\x80\xAFz", "???z"},
      {"\xED\xA0\x80z", "???z"},
      {"\xE2\x82z", "?z"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBFz", "????z"},
      {"\xF0\x9F\x98\xE2\x82\xACz", "?\u20acz"},
      {"\xF4\x90\x80\x80z", "????z"},
      {"\xF8\x88\x80\x80\x80z", "?????z"},
      {"plain text of some length \xE9 and more", "plain text of some length ? and more"},
      {"\xE2\x82", "?"},
  };
  const TempHome home;
  for (const auto& [bytes, shown] : rows) {
    string expected;
    for (const char* c = shown; *c; ++c) expected += *c == '?' ? string("\uFFFD") : string(1, *c);
    EXPECT_THAT(linesOf(home.write("file", bytes)), ElementsAre(expected)) << testing::PrintToString(string(bytes));
  }
}

TEST(LineReader, TriesToOpenAgainAndComplainsEachTime) {
  const TempHome home;
  const string path = home / "later";
  LineReader reader(path);
  for (int i = 0; i < 2; ++i)
    EXPECT_THAT(complaintsAbout(reader), testing::EndsWith(": Cannot open file: " + path + "\n"));
  home.write("later", "now\n");
  EXPECT_EQ(reader.readline(), "now\n");
  home.write("later", "now\nand then\n");
  EXPECT_EQ(reader.readline(), "and then\n") << "the file stays open";
  EXPECT_EQ(complaintsAbout(reader), "") << "the end is no failure";
  LineReader nameless("");
  EXPECT_THAT(complaintsAbout(nameless), testing::EndsWith(": Cannot open file: \n"));
}

TEST(LineReader, WhatIsNoReadableFileGivesNoLines) {
  const TempHome home;
  LineReader folder(home.path());
  EXPECT_EQ(complaintsAbout(folder), "") << "a folder can be opened, but not read";
  ASSERT_EQ(mkfifo((home / "pipe").c_str(), 0600), 0);
  LineReader lonely(home / "pipe");
  EXPECT_EQ(complaintsAbout(lonely), "") << "nobody writes to the pipe, and nobody waits";

  const string locked = home.write("locked", "text", 0);
  const uid_t user = geteuid();
  std::filesystem::permissions(home.path(), std::filesystem::perms(0755));
  if (user == 0) {
    ASSERT_EQ(seteuid(65534), 0);  // an ordinary user, whom permissions bind
  }
  LineReader unreadable(locked);
  EXPECT_THAT(complaintsAbout(unreadable), HasSubstr("Cannot open file: " + locked));
  ASSERT_EQ(seteuid(user), 0);
}

TEST(LineReader, WaitsForTheLinesOfAPipeThatSomebodyWrites) {
  const TempHome home;
  const string path = home / "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  // Open for both, so that the reader finds a writer.
  FileDescriptor writer(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_GE(writer.get(), 0);
  LineReader reader(path);
  ASSERT_TRUE(writeAll(writer.get(), "first\n"));
  EXPECT_EQ(reader.readline(), "first\n");
  std::thread late([&writer] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(writeAll(writer.get(), "sec"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(writeAll(writer.get(), "ond\nthird"));
    writer = FileDescriptor();
  });
  EXPECT_EQ(reader.readline(), "second\n");
  EXPECT_EQ(reader.readline(), "third");
  late.join();
  EXPECT_EQ(reader.readline(), std::nullopt);
}

TEST(LineReader, ClosesItsFileAndKeepsItFromChildren) {
  const TempHome home;
  const string path = home.write("file", "line\n");
  const auto held = [&path] {
    return std::ranges::any_of(std::filesystem::directory_iterator("/proc/self/fd"), [&path](const auto& entry) {
      std::error_code gone;
      return std::filesystem::read_symlink(entry.path(), gone) == path;
    });
  };
  {
    LineReader reader(path);
    EXPECT_FALSE(held()) << "nothing is opened before the first line is asked for";
    EXPECT_EQ(reader.readline(), "line\n");
    EXPECT_TRUE(held());
    EXPECT_NE(std::system(("ls -l /proc/self/fd | grep -q " + path).c_str()), 0);
  }
  EXPECT_FALSE(held());
}

}  // namespace
}  // namespace corvane
