#include "corvane/infra/Path.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include "corvane/infra/Logger.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/LogFile.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

class PathTest : public Test {
 protected:
  PathTest() { use(m_home.path(), {{"CFBundleIdentifier", "a.b.App"}}); }

  // Gives the process these folders and a main bundle laid out as a wrapper.
  void use(const std::string& root, const Value::Dictionary& info) {
    m_fake.emplace(root);
    m_fake->bundles->main = {.path = "/apps/App.app",
                             .executable = "/apps/App.app/Contents/MacOS/App",
                             .resources = m_home / "resources",
                             .info = infoPlist(info)};
  }

  // The last message of the log.
  std::string logged() const {
    const auto messages = loggedMessages(m_home / "Library/Logs/a.b.App/App.log");
    return messages.empty() ? "" : messages.back();
  }

  int copy(bool overwrite) const { return CopyResourceFile("words", "txt", m_home / "to", overwrite); }

  TempHome m_home;
  std::optional<FakePlatform> m_fake;
  const std::string m_resource = m_home / "resources/words.txt";
  const std::string m_copy = m_home / "to/words.txt";
};

TEST_F(PathTest, ExecutablesAndResourcesAreThoseOfTheMainBundle) {
  EXPECT_EQ(Path::executablePath("no such tool"), "/apps/App.app/Contents/MacOS/no such tool");
  const std::string help = m_home.write("resources/help.html", "");
  EXPECT_EQ(Path::scriptPath("help.html"), help);
  EXPECT_EQ(Path::scriptPath("help"), std::nullopt);
  EXPECT_EQ(Path::resourcePath("help", "html"), help);
  EXPECT_EQ(Path::resourcePath("help.html", ""), help);
  use("", {});
  m_fake->bundles->main = {.path = "/usr/bin", .executable = "/usr/bin/app", .resources = {}, .info = {}};
  EXPECT_EQ(Path::executablePath("tool"), "/usr/bin/tool");
  EXPECT_EQ(Path::scriptPath("help.html"), std::nullopt);
}

TEST_F(PathTest, PropertyListsAreDictionariesOrNothing) {
  const Value::Dictionary dictionary = {{"a", 1}};
  EXPECT_EQ(Path::propertyList(m_home.write("list", infoPlist(dictionary))), dictionary);
  for (const std::string& path : {m_home.write("array", infoPlist(Value::Array{1})), m_home.write("junk", "junk"),
                                  m_home / "missing", m_home.path().string()})
    EXPECT_EQ(Path::propertyList(path), std::nullopt) << path;
  EXPECT_EQ(logged(), "") << "none of it is worth a line";
}

TEST_F(PathTest, FoldersAreMadeAndFailuresLogged) {
  const std::tuple<std::optional<std::string> (*)(), std::string, std::string> rows[] = {
      {Path::launchAgentPath, m_home / "Library/LaunchAgents", "FindLaunchAgentPath: "},
      {Path::cachePath, m_home / ".cache/a.b.App", "FindCachePath: "},
      {Path::appSupportPath, m_home / ".local/share", "FindAppSupportPath: "}};
  for (const auto& [find, folder, prefix] : rows) {
    for (int i = 0; i < 2; ++i) EXPECT_EQ(find(), folder);
    EXPECT_TRUE(fs::is_directory(folder));
    fs::remove(folder);
    std::ofstream(folder) << "in the way";
    EXPECT_EQ(find(), std::nullopt);
    EXPECT_EQ(logged(), "> " + prefix + folder + ": Not a directory");
  }
}

TEST_F(PathTest, CopiesWithPermissionsTimeAndHoles) {
  fs::resize_file(m_home.write("resources/words.txt", "some words", 0750), 5UL << 30);
  fs::create_directory(m_home / "to");
  const timespec times[] = {{1'000'000'000, 0}, {1'234'567'890, 5}};
  ASSERT_EQ(utimensat(AT_FDCWD, m_resource.c_str(), times, 0), 0);
  const auto blocksOf = [](const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_blocks;
  };
  if (blocksOf(m_resource) > 8192) GTEST_SKIP() << "the file system has no holes";
  EXPECT_EQ(copy(false), 0);
  EXPECT_LE(blocksOf(m_copy), 8192);
  EXPECT_EQ(fs::file_size(m_copy), 5UL << 30);
  std::string words(10, ' ');
  std::ifstream(m_copy).read(words.data(), 10);
  EXPECT_EQ(words, "some words");
  EXPECT_EQ(fs::status(m_copy).permissions(), fs::perms(0750));
  EXPECT_EQ(fs::last_write_time(m_copy), fs::last_write_time(m_resource));
  m_home.write("resources/bare", "no type");
  EXPECT_EQ(CopyResourceFile("bare", "", m_home / "to", true), 0);
  EXPECT_TRUE(fs::exists(m_home / "to/bare."));
  EXPECT_EQ(logged(), "");
}

TEST_F(PathTest, NothingIsEverReplaced) {
  m_home.write("resources/words.txt", "new");
  m_home.write("to/words.txt", "old");
  EXPECT_EQ(copy(false), -1);
  EXPECT_EQ(logged(), "") << "the usual case";
  const std::string exists = "> CopyResourceFile: " + m_copy + ": File exists";
  EXPECT_EQ(copy(true), -1);
  EXPECT_EQ(logged(), exists);
  EXPECT_EQ(contentOf(m_copy), "old");
  fs::remove(m_resource);
  EXPECT_EQ(copy(false), -1) << "the destination is checked before the resource";
  EXPECT_DEATH(copy(true), "fatal: CopyResourceFile: the main bundle has no resource words.txt");
}

TEST_F(PathTest, OfManyCopiesAtOnceOneSucceeds) {
  m_home.write("resources/words.txt", std::string(1 << 20, 'w'));
  fs::create_directory(m_home / "to");
  std::atomic<int> done = 0;
  std::vector<std::jthread> threads;
  for (int i = 0; i < 6; ++i) threads.emplace_back([&] { done += copy(true) == 0; });
  while (!fs::exists(m_copy)) std::this_thread::yield();
  EXPECT_EQ(fs::file_size(m_copy), 1U << 20) << "a concurrent reader finds the whole file or none";
  threads.clear();
  EXPECT_EQ(done, 1);
  EXPECT_THAT(namesIn(m_home / "to"), ElementsAre("words.txt"));
}

TEST_F(PathTest, AFailedCopyLeavesNothing) {
  m_home.write("resources/words.txt", std::string(3 << 20, 'w'));
  EXPECT_EQ(copy(false), -1);
  EXPECT_EQ(logged(), "> CopyResourceFile: " + m_copy + ": No such file or directory");
  fs::create_directory(m_home / "to");
  {
    const FileSizeLimit full(rlim_t{2} << 20);
    EXPECT_EQ(copy(false), -1);
    EXPECT_THAT(namesIn(m_home / "to"), IsEmpty());
  }
  fs::remove(m_resource);
  fs::create_directory(m_resource);
  EXPECT_EQ(copy(false), -1);
  EXPECT_EQ(logged(), "> CopyResourceFile: " + m_resource + ": Is a directory");
}

// The program that the guide shows.
TEST_F(PathTest, TheGuidesProgramCopiesOnceAndReads) {
  const auto run = [&] {
    EXPECT_EQ(std::system((CORVANE_TEST_BIN "/guide_paths > " + (m_home / "out")).c_str()), 0);
    return contentOf(m_home / "out");
  };
  EXPECT_EQ(run(), "apple\npear\nplum");
  m_home.write(".local/share/words.txt", "mine\n");
  EXPECT_EQ(run(), "mine\n");
}

}  // namespace
}  // namespace corvane
