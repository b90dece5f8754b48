#include "corvane/infra/Logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <regex>
#include <thread>

#include "corvane/core/Log.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/PropertyList.h"
#include "corvane/platform/fake/FakePlatform.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct LoggerTest : testing::Test {
  LoggerTest() { identify("a.b.App", "The App"); }

  // Gives the process a main bundle; an empty text leaves the entry out.
  void identify(const std::string& identifier, const std::string& name) {
    Value::Dictionary info;
    if (!identifier.empty()) info["CFBundleIdentifier"] = identifier;
    if (!name.empty()) info["CFBundleName"] = name;
    fake.emplace(home.path().string());
    fake->bundles->main.info = *writePropertyList(info, PropertyListFormat::XML);
    folder = home / ("Library/Logs/" + identifier);
  }

  static std::vector<std::string> lines(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> result;
    for (std::string line; std::getline(file, line);) result.push_back(line);
    return result;
  }

  // The messages of a log of a.b.App, whose other columns are checked.
  static std::vector<std::string> messages(const std::string& path) {
    static const std::regex form(R"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{6} (\d+) a\.b\.App ([^]+))");
    std::vector<std::string> result;
    for (const std::string& line : lines(path)) {
      std::smatch match;
      EXPECT_TRUE(std::regex_match(line, match, form)) << line;
      result.push_back(match[2]);
    }
    return result;
  }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
  }

  std::string live() const { return folder + "/App.log"; }

  TempHome home;
  std::optional<FakePlatform> fake;
  std::string folder;
};

TEST_F(LoggerTest, WritesTrimmedLinesBetweenBeginAndEnd) {
  Logger log;
  for (const char* message : {"one", "  two \r\n\n", "\u00a0three\u2029", " \t\n ", "", "four\nfive"}) log.log(message);
  EXPECT_EQ(log.path(), live());
  log.close();
  log.close();
  log.log("after the end");
  const auto found = lines(live());
  ASSERT_EQ(found.size(), 7U);
  EXPECT_EQ(found[5], "five") << "a line break inside a message stays";
  std::ofstream(live()) << found[0] << "\n"
                        << found[1] << "\n"
                        << found[2] << "\n"
                        << found[3] << "\n"
                        << found[6] << "\n";
  EXPECT_THAT(messages(live()),
              ElementsAre("Logging begins for: The App", "one", "two", "three", "Logging ends for: The App"));
  EXPECT_THAT(found[1], HasSubstr(" " + std::to_string(getpid()) + " "));
  Logger again;
  EXPECT_EQ(lines(live()).size(), 6U) << "the next run appends";
}

TEST_F(LoggerTest, TheFileIsNamedByTheIdentifiersLastPart) {
  const struct {
    const char* identifier;
    const char* file;
  } rows[] = {{"org.example.Tool", "Tool.log"}, {"Single", "Single.log"}, {"a.b.", "b.log"}, {"...", "Tracewell.log"}};
  for (const auto& row : rows) {
    identify(row.identifier, "");
    Logger log;
    EXPECT_EQ(log.path(), folder + "/" + row.file);
    log.close();
    EXPECT_EQ(lines(folder + "/" + row.file).size(), 0U) << "no name: no first and last line";
  }
}

TEST_F(LoggerTest, TheLineThatPassesTheLimitIsTheLast) {
  const std::string block(900, 'x');
  for (int number = 0; number <= 10; ++number)
    home.write("Library/Logs/a.b.App/App.log." + std::to_string(number), std::to_string(number));
  Logger log;
  while (std::filesystem::exists(live()) && std::filesystem::file_size(live()) < 99'000) log.log(block);
  const std::size_t size = std::filesystem::file_size(live());
  const std::size_t overhead = std::filesystem::file_size(live()) - messages(live())[0].size();
  EXPECT_GT(overhead, 0U);
  const std::size_t prefix = lines(live()).back().size() - block.size();
  log.log(std::string(100'000 - size - prefix - 1, 'y'));
  EXPECT_EQ(std::filesystem::file_size(live()), 100'000U) << "exactly the limit is not above it";
  log.log("last");
  EXPECT_FALSE(std::filesystem::exists(live()));
  log.log("dropped");
  log.close();
  EXPECT_EQ(messages(live() + ".0").back(), "last");
  for (int number = 1; number <= 10; ++number)
    EXPECT_EQ(lines(live() + "." + std::to_string(number)).at(0), std::to_string(number - 1));
  EXPECT_EQ(files().size(), 11U) << "the oldest is gone, there is no other file";
  Logger next;
  EXPECT_THAT(messages(live()), ElementsAre("Logging begins for: The App"));
}

TEST_F(LoggerTest, ManyThreadsAndARotationCutNoLine) {
  Logger log;
  std::vector<std::thread> threads;
  for (int id = 0; id < 8; ++id)
    threads.emplace_back([&log, id] {
      for (int i = 0; i < 400; ++i) log.log("thread " + std::to_string(id) + " line " + std::to_string(i) + " end");
    });
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(files(), ElementsAre("App.log.0"));
  const auto found = messages(live() + ".0");
  std::map<std::string, int> next;
  for (std::size_t i = 1; i < found.size(); ++i) {
    const std::string thread = found[i].substr(0, 8);
    EXPECT_EQ(found[i], thread + " line " + std::to_string(next[thread]++) + " end");
  }
  EXPECT_GT(std::filesystem::file_size(live() + ".0"), 100'000U);
  EXPECT_LT(std::filesystem::file_size(live() + ".0"), 100'200U);
}

TEST_F(LoggerTest, TwoProcessesMixNoLines) {
  const auto writeMany = [](const std::string& who) {
    Logger log;
    for (int i = 0; i < 300; ++i) log.log(who + std::string(80, '.') + who);
  };
  const pid_t child = fork();
  if (child == 0) {
    writeMany("child");
    _exit(0);
  }
  writeMany("parent");
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  std::map<std::string, int> counts;
  for (const std::string& message : messages(live())) ++counts[message.substr(0, 5)];
  EXPECT_EQ(counts, (std::map<std::string, int>{{"Loggi", 2}, {"child", 300}, {"paren", 300}}));
}

TEST_F(LoggerTest, AFullDiskDropsWholeLinesAndLaterOnesAreWritten) {
  Logger log;
  log.log("before");
  // What a full disk does, without one: the file may not grow beyond a size.
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit unlimited = [] {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    return limit;
  }();
  rlimit full = unlimited;
  full.rlim_cur = std::filesystem::file_size(live()) + 20;
  setrlimit(RLIMIT_FSIZE, &full);
  log.log("does not fit, in part");
  log.log("does not fit at all");
  setrlimit(RLIMIT_FSIZE, &unlimited);
  log.log("after");
  EXPECT_THAT(messages(live()), ElementsAre("Logging begins for: The App", "before", "after"));
  EXPECT_EQ(log.lines(), 3);
}

TEST_F(LoggerTest, AFolderOrFileThatCannotBeHadDropsLinesQuietly) {
  const auto tryLog = [] {
    testing::internal::CaptureStderr();
    Logger log;
    log.log("dropped");
    log.close();
    return testing::internal::GetCapturedStderr();
  };
  home.write("Library/Logs", "a file where the folder should be");
  EXPECT_THAT(tryLog(), HasSubstr("findLogPath: "));
  std::filesystem::remove(home / "Library/Logs");
  std::filesystem::create_directories(live());
  EXPECT_EQ(tryLog(), "") << "a folder where the file should be";
  std::filesystem::remove(live());
  ASSERT_EQ(mkfifo(live().c_str(), 0600), 0);
  EXPECT_EQ(tryLog(), "") << "a pipe that nobody reads";
  std::filesystem::remove(live());
  // As an ordinary user, whom permissions bind.
  std::filesystem::permissions(home.path(), std::filesystem::perms(0755));
  std::ofstream(live()) << "";
  const uid_t user = geteuid();
  const auto become = [&](uid_t id) { ASSERT_EQ(user == 0 ? seteuid(id) : 0, 0); };
  become(65534);
  for (const auto& [file, mode] : {std::pair{live(), 0000}, std::pair{folder, 0555}}) {
    become(0);
    std::filesystem::permissions(file, std::filesystem::perms(mode));
    if (mode == 0555) std::filesystem::remove(live());
    become(65534);
    EXPECT_EQ(tryLog(), "") << file << " is not to be read or written";
    EXPECT_TRUE(mode == 0000 || !std::filesystem::exists(live()));
  }
  become(0);
  fake.emplace("");
  fake->bundles->main.info =
      *writePropertyList(Value::Dictionary{{"CFBundleIdentifier", "a.b.App"}}, PropertyListFormat::BINARY);
  EXPECT_THAT(tryLog(), HasSubstr("findLogPath: There are no folders"));
}

TEST_F(LoggerTest, AFolderDeletedMeanwhileIsNoMatter) {
  Logger log;
  std::filesystem::remove_all(folder);
  for (int i = 0; i < 200; ++i) log.log(std::string(1'000, 'x'));
  log.close();
  EXPECT_TRUE(files().empty()) << "a rotation looks for the folder again, and finds nothing to move";
}

TEST_F(LoggerTest, ThePlatformOpensAndRevealsTheLog) {
  Logger log;
  log.displayLog();
  Logger::showInFinder();
  EXPECT_THAT(fake->workspace->calls, ElementsAre("open " + live(), "reveal " + folder));
}

TEST_F(LoggerTest, TheLibrarysOwnLinesGoToTheSharedLogger) {
  const auto log = std::make_shared<Logger>();
  Logger::setInstance(log);
  EXPECT_EQ(Logger::instance(), log);
  logLine("from the core");
  logNotice("a notice");
  EXPECT_THAT(messages(live()), ElementsAre("Logging begins for: The App", "from the core", "a notice"));
}

TEST_F(LoggerTest, WithoutAnIdentifierNothingIsOpened) {
  identify("", "Nameless");
  const auto log = std::make_shared<Logger>();
  log->log("  ");
  log->close();
  EXPECT_FALSE(std::filesystem::exists(home / "Library"));
  testing::internal::CaptureStderr();
  logNotice("a notice");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(": a notice\n"));
  EXPECT_DEATH(log->log("a message"), "fatal: Logger: the main bundle has no identifier");
}

// A child program logs from threads, exit handlers and static destructors while it exits.
TEST_F(LoggerTest, LoggingWhileTheProcessExits) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(std::system(CORVANE_TEST_BIN "/logger_exit"), 0);
    const std::string path = home / "Library/Logs/test.exit/exit.log";
    const auto found = lines(path);
    for (const char* last : {"from a static destructor", "from an exit handler"})
      EXPECT_TRUE(std::ranges::any_of(found, [&](const std::string& line) { return line.ends_with(last); })) << last;
    for (const std::string& line : found)
      EXPECT_TRUE(line.starts_with("20") && line.find(" test.exit ") == line.find(' ', 27)) << line;
    std::filesystem::remove(path);
  }
}

}  // namespace
}  // namespace corvane
