#include "corvane/infra/Path.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "corvane/infra/Logger.h"
#include "corvane/infra/PropertyList.h"
#include "corvane/platform/fake/FakePlatform.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class PathTest : public testing::Test {
 protected:
  PathTest() { use(m_home.path(), "a.b.App"); }

  // Gives the process these folders and a main bundle with an identifier (or none), laid out as a wrapper.
  void use(const std::string& root, const std::string& identifier) {
    Value::Dictionary info;
    if (!identifier.empty()) info["CFBundleIdentifier"] = identifier;
    m_fake.emplace(root);
    m_fake->bundles->main = {.path = "/apps/App.app",
                             .executable = "/apps/App.app/Contents/MacOS/App",
                             .resources = m_home / "resources",
                             .info = *writePropertyList(info, PropertyListFormat::XML)};
  }

  // The last message of the log, without the columns in front of it.
  std::string logged() const {
    std::ifstream file(m_home / "Library/Logs/a.b.App/App.log");
    std::string last;
    for (std::string line; std::getline(file, line);) last = line;
    const std::size_t name = last.find(" a.b.App ");
    return name == last.npos ? "" : last.substr(name + 9);
  }

  int copy(bool overwrite, const std::string& name = "words") const {
    return CopyResourceFile(name, "txt", m_home / "to", overwrite);
  }

  static std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::vector<std::string> copies() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(m_home / "to")) names.push_back(entry.path().filename());
    return names;
  }

  TempHome m_home;
  std::optional<FakePlatform> m_fake;
};

TEST_F(PathTest, ExecutablesAndResourcesAreThoseOfTheMainBundle) {
  EXPECT_EQ(Path::executablePath("no such tool"), "/apps/App.app/Contents/MacOS/no such tool");
  const std::string script = m_home.write("resources/run", "");
  const std::string help = m_home.write("resources/help.html", "");
  EXPECT_EQ(Path::scriptPath("run"), script);
  EXPECT_EQ(Path::scriptPath("help"), std::nullopt);
  EXPECT_EQ(Path::resourcePath("help", "html"), help);
  EXPECT_EQ(Path::resourcePath("help.html", ""), help);
  EXPECT_EQ(Path::resourcePath("run", "html"), std::nullopt);
  use("", "a.b.App");
  m_fake->bundles->main = {.path = "/usr/bin", .executable = "/usr/bin/app", .resources = {}, .info = {}};
  EXPECT_EQ(Path::executablePath("tool"), "/usr/bin/tool");
  EXPECT_EQ(Path::scriptPath("run"), std::nullopt);
}

TEST_F(PathTest, PropertyListsAreDictionariesOrNothing) {
  for (const auto format : {PropertyListFormat::XML, PropertyListFormat::BINARY}) {
    const auto written = [&](const Value& value) { return m_home.write("list", *writePropertyList(value, format)); };
    EXPECT_EQ(Path::propertyList(written(Value::Dictionary{{"a", 1}})), (Value::Dictionary{{"a", 1}}));
    EXPECT_EQ(Path::propertyList(written(Value::Array{1})), std::nullopt);
  }
  EXPECT_EQ(Path::propertyList(m_home.write("junk", "junk")), std::nullopt);
  EXPECT_EQ(Path::propertyList(m_home / "missing"), std::nullopt);
  EXPECT_EQ(Path::propertyList(m_home.path()), std::nullopt);
  EXPECT_EQ(logged(), "") << "none of it is worth a line";
}

TEST_F(PathTest, FoldersAreMadeAndFailuresLogged) {
  const struct {
    std::optional<std::string> (*find)();
    const char* folder;
    const char* prefix;
  } rows[] = {{Path::launchAgentPath, "/Library/LaunchAgents", "FindLaunchAgentPath: "},
              {Path::cachePath, "/.cache/a.b.App", "FindCachePath: "},
              {Path::appSupportPath, "/.local/share", "FindAppSupportPath: "}};
  for (const auto& [find, name, prefix] : rows) {
    const std::string folder = m_home.path().string() + name;
    for (int i = 0; i < 2; ++i) EXPECT_EQ(find(), folder);
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_EQ(logged(), "") << name;
    fs::remove(folder);
    std::ofstream(folder) << "in the way";
    EXPECT_EQ(find(), std::nullopt);
    EXPECT_EQ(logged(), prefix + folder + ": Not a directory");
    fs::remove_all(m_home / "Library/Logs");
    Logger::setInstance(nullptr);
  }
  use("", "");
  for (const auto& [find, name, prefix] : rows) {
    if (find == Path::cachePath) continue;
    testing::internal::CaptureStderr();
    EXPECT_EQ(find(), std::nullopt) << name;
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(std::string(prefix) + "There are no folders"))
        << "a program without a log";
  }
  EXPECT_DEATH(Path::cachePath(), "fatal: .*no identifier");
}

TEST_F(PathTest, CopiesWithPermissionsAndTime) {
  fs::create_directory(m_home / "to");
  const std::string resource = m_home.write("resources/words.txt", "some words", 0750);
  const timespec times[] = {{1'000'000'000, 0}, {1'234'567'890, 5}};
  ASSERT_EQ(utimensat(AT_FDCWD, resource.c_str(), times, 0), 0);
  EXPECT_EQ(copy(false), 0);
  EXPECT_EQ(contents(m_home / "to/words.txt"), "some words");
  struct stat status {};
  ASSERT_EQ(stat((m_home / "to/words.txt").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0750U);
  EXPECT_EQ(status.st_mtim.tv_sec, 1'234'567'890);
  m_home.write("resources/bare", "no type");
  EXPECT_EQ(CopyResourceFile("bare", "", m_home / "to", true), 0);
  EXPECT_THAT(copies(), UnorderedElementsAre("words.txt", "bare.")) << "the dot is there all the same";
  EXPECT_EQ(logged(), "");
}

TEST_F(PathTest, NothingIsEverReplaced) {
  m_home.write("resources/words.txt", "new");
  const std::string there = m_home.write("to/words.txt", "old");
  EXPECT_EQ(copy(false), -1);
  EXPECT_EQ(logged(), "") << "the usual case";
  EXPECT_EQ(copy(true), -1);
  EXPECT_EQ(logged(), "CopyResourceFile: " + there + ": File exists");
  EXPECT_EQ(contents(there), "old");
  fs::remove(there);
  fs::create_symlink("nowhere", there);
  EXPECT_EQ(copy(false), -1);
  EXPECT_EQ(logged(), "CopyResourceFile: " + there + ": File exists") << "a link that leads nowhere";
  fs::remove(m_home / "resources/words.txt");
  EXPECT_DEATH(copy(true), "fatal: CopyResourceFile: the main bundle has no resource words.txt");
  fs::remove(there);
  m_home.write("to/words.txt", "old");
  EXPECT_EQ(copy(false), -1) << "the destination is looked at before the resource";
}

TEST_F(PathTest, OfManyCopiesAtOnceOneSucceeds) {
  m_home.write("resources/words.txt", std::string(1 << 20, 'w'));
  fs::create_directory(m_home / "to");
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> done = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
      threads.emplace_back([&] {
        if (copy(true) == 0) ++done;
      });
    // Whoever looks meanwhile finds the whole file or none.
    while (!fs::exists(m_home / "to/words.txt")) std::this_thread::yield();
    EXPECT_EQ(fs::file_size(m_home / "to/words.txt"), 1U << 20);
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(done, 1);
    EXPECT_THAT(copies(), UnorderedElementsAre("words.txt"));
    fs::remove(m_home / "to/words.txt");
  }
}

TEST_F(PathTest, AFailedCopyLeavesNothing) {
  const std::string resource = m_home.write("resources/words.txt", std::string(3 << 20, 'w'));
  EXPECT_EQ(copy(false), -1);
  EXPECT_EQ(logged(), "CopyResourceFile: " + (m_home / "to/words.txt") + ": No such file or directory");
  fs::create_directory(m_home / "to");
  // What a full disk does, without one: no file may grow beyond a size.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit unlimited{};
  getrlimit(RLIMIT_FSIZE, &unlimited);
  for (const rlim_t room : {rlim_t{2} << 20, rlim_t{100}}) {
    rlimit full = unlimited;
    full.rlim_cur = room;
    setrlimit(RLIMIT_FSIZE, &full);
    const int result = copy(false);
    setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(copies(), std::vector<std::string>());
  }
  EXPECT_EQ(copy(false), 0) << "again with room";
  fs::remove(resource);
  fs::remove(m_home / "to/words.txt");
  fs::create_directory(resource);
  EXPECT_EQ(copy(false), -1);
  EXPECT_EQ(logged(), "CopyResourceFile: " + resource + ": Is a directory");
  fs::remove(resource);
  ASSERT_EQ(mkfifo(resource.c_str(), 0600), 0);
  EXPECT_EQ(copy(false), -1);
  EXPECT_EQ(logged(), "CopyResourceFile: " + resource + ": not a regular file");
}

TEST_F(PathTest, LargeFilesKeepTheirHoles) {
  std::string text;
  for (int i = 0; text.size() < 300'000; ++i) text += std::to_string(i);
  const std::string resource = m_home.write("resources/words.txt", text);
  constexpr off_t SIZE = off_t{5} << 30;
  ASSERT_EQ(truncate(resource.c_str(), SIZE), 0);
  std::fstream(resource, std::ios::in | std::ios::out).seekp(off_t{3} << 30) << "middle";
  struct stat before {};
  ASSERT_EQ(stat(resource.c_str(), &before), 0);
  if (before.st_blocks > 8192) GTEST_SKIP() << "the file system has no holes";
  // To another file system too, where there is one.
  for (const std::string& folder : {m_home / "to", "/dev/shm/" + m_home.path().filename().string()}) {
    fs::create_directory(folder);
    EXPECT_EQ(CopyResourceFile("words", "txt", folder, false), 0);
    struct stat status {};
    ASSERT_EQ(stat((folder + "/words.txt").c_str(), &status), 0);
    EXPECT_EQ(status.st_size, SIZE);
    EXPECT_LE(status.st_blocks, before.st_blocks + 1024) << "512 KiB more are no hole";
    std::ifstream file(folder + "/words.txt");
    std::string begin(text.size(), ' '), middle(6, ' ');
    file.read(begin.data(), static_cast<std::streamsize>(begin.size())).seekg(off_t{3} << 30).read(middle.data(), 6);
    EXPECT_TRUE(begin == text);
    EXPECT_EQ(middle, "middle");
    fs::remove_all(folder);
  }
}

// The program that the guide shows.
TEST_F(PathTest, TheGuidesProgramCopiesOnceAndReads) {
  const auto run = [&] {
    EXPECT_EQ(std::system((CORVANE_TEST_BIN "/guide_paths > " + (m_home / "out")).c_str()), 0);
    return contents(m_home / "out");
  };
  EXPECT_EQ(run(), "apple\npear\nplum");
  m_home.write(".local/share/words.txt", "mine\n");
  EXPECT_EQ(run(), "mine\n");
}

}  // namespace
}  // namespace corvane
