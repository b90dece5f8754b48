#include "corvane/infra/Logger.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include "corvane/core/Log.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/LogFile.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

struct LoggerTest : Test {
  LoggerTest() { identify({{"CFBundleIdentifier", "a.b.App"}, {"CFBundleName", "The App"}}); }

  // Gives the process a main bundle.
  void identify(const Value::Dictionary& info) {
    fake.emplace(home.path().string());
    fake->bundles->main.info = infoPlist(info);
  }

  TempHome home;
  std::optional<FakePlatform> fake;
  const std::string logs = home / "Library/Logs/";
  const std::string folder = logs + "a.b.App";
  const std::string live = folder + "/App.log";
};

TEST_F(LoggerTest, WritesTrimmedLinesBetweenBeginAndEnd) {
  Logger log;
  for (const char* message : {"one", "  two \r\n\n", "\u00a0three\u2029", " \t\n ", "", "four\nfive"}) log.log(message);
  for (int i = 0; i < 2; ++i) log.close();
  log.log("after the end");
  EXPECT_THAT(loggedMessages(live), ElementsAre("> Logging begins for: The App", "> one", "> two", "> three", "> four",
                                                "five", "> Logging ends for: The App"));
  EXPECT_THAT(contentOf(live), HasSubstr(" " + std::to_string(getpid()) + " a.b.App one\n"));
  Logger again;
  EXPECT_EQ(loggedMessages(live).size(), 8U) << "the next run appends";
}

TEST_F(LoggerTest, TheFileIsNamedAfterTheIdentifiersLastPart) {
  for (const auto& [identifier, file] :
       {std::pair{"Single", "Single.log"}, {"a.b.", "b.log"}, {"...", "Tracewell.log"}}) {
    identify({{"CFBundleIdentifier", identifier}});
    Logger().close();
    EXPECT_EQ(namesIn(logs + identifier), std::vector<std::string>{file});
    EXPECT_EQ(contentOf(logs + identifier + "/" + file), "") << "no name: no first and last line";
  }
}

TEST_F(LoggerTest, TheLineThatExceedsTheLimitIsTheLast) {
  const auto archive = [this](int number) { return live + "." + std::to_string(number); };
  fs::create_directories(folder);
  for (int number = 0; number <= 10; ++number) std::ofstream(archive(number)) << number;
  Logger log;
  const auto begin = fs::file_size(live);
  log.log("x");
  const auto columns = fs::file_size(live) - begin - 1;
  log.log(std::string(100'000 - fs::file_size(live) - columns, 'y'));
  EXPECT_EQ(fs::file_size(live), 100'000U) << "exactly the limit is not above it";
  EXPECT_THAT(standardErrorOf([&] {
                for (const char* message : {"last", "dropped"}) log.log(message);
              }),
              EndsWith(": The log is full, has become " + archive(0) + " and ends here until the next start\n"));
  log.close();
  EXPECT_EQ(loggedMessages(archive(0)).back(), "> last");
  for (int number = 1; number <= 10; ++number) EXPECT_EQ(contentOf(archive(number)), std::to_string(number - 1));
  EXPECT_EQ(namesIn(folder).size(), 11U) << "the oldest is gone, there is no other file";
  Logger next;
  EXPECT_THAT(loggedMessages(live), ElementsAre("> Logging begins for: The App"));
}

TEST_F(LoggerTest, ManyThreadsAndARotationCutNoLine) {
  Logger log;
  std::vector<std::jthread> threads;
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h"})
    threads.emplace_back([&log, name] {
      for (int i = 0; i < 400; ++i) log.log(name + std::to_string(i) + " end");
    });
  threads.clear();
  EXPECT_THAT(namesIn(folder), ElementsAre("App.log.0"));
  const auto found = loggedMessages(live + ".0");
  std::map<std::string, int> next;
  for (std::size_t i = 1; i < found.size(); ++i) {
    const std::string begin = found[i].substr(0, 3);
    EXPECT_EQ(found[i], begin + std::to_string(next[begin]++) + " end");
  }
  EXPECT_EQ(fs::file_size(live + ".0") / 100, 1000U);
}

TEST_F(LoggerTest, ProcessesDoNotMixLinesAndEachRotatesOneFile) {
  constexpr int PROCESSES = 4;
  Logger log;
  const auto writeMuch = [] {
    Logger own;
    const std::string who = std::to_string(getpid());
    for (int i = 0; i < 1000 * (PROCESSES + 1); ++i) own.log(who + std::string(80, '.') + who);
    _exit(0);
  };
  std::vector<pid_t> children(PROCESSES);
  for (pid_t& child : children)
    if ((child = fork()) == 0) writeMuch();
  for (const pid_t child : children) ASSERT_EQ(waitpid(child, nullptr, 0), child);
  for (const char* message : {"too late", "in time"}) log.log(message);
  EXPECT_THAT(namesIn(folder), ElementsAre("App.log", "App.log.0", "App.log.1", "App.log.2", "App.log.3"));
  EXPECT_THAT(loggedMessages(live), ElementsAre("> in time"));
  EXPECT_EQ(loggedMessages(live + ".3").back(), "> too late") << "the file that was open when it was written";
  for (int number = 0; number < PROCESSES; ++number) {
    const std::string archive = live + "." + std::to_string(number);
    EXPECT_GT(fs::file_size(archive), 100'000U);
    EXPECT_THAT(loggedMessages(archive),
                Each(AnyOf(MatchesRegex("> ([0-9]+)\\.{80}[0-9]+"), "> Logging begins for: The App", "> too late")));
  }
}

TEST_F(LoggerTest, AFullDiskDropsWholeLinesAndLaterOnesAreWritten) {
  Logger log;
  log.log("before");
  {
    const FileSizeLimit full(fs::file_size(live) + 20);
    for (const char* message : {"does not fit, in part", "does not fit at all"}) log.log(message);
  }
  log.log("after");
  EXPECT_THAT(loggedMessages(live), ElementsAre("> Logging begins for: The App", "> before", "> after"));
  EXPECT_EQ(log.lines(), 3);
}

TEST_F(LoggerTest, WithoutAFolderOrFileLinesAreDroppedSilently) {
  const auto complaint = [] {
    return standardErrorOf([] {
      Logger log;
      log.log(std::string(70'000, 'x'));  // more than a pipe holds
      log.close();
    });
  };
  home.write("Library/Logs", "a file where the folder should be");
  EXPECT_THAT(complaint(), HasSubstr("findLogPath: "));
  fs::remove(home / "Library/Logs");
  fs::create_directories(folder);
  ASSERT_EQ(mkfifo(live.c_str(), 0600), 0);
  EXPECT_EQ(complaint(), "") << "a pipe that nobody reads";
}

TEST_F(LoggerTest, AFolderDeletedMeanwhileIsMadeAgain) {
  Logger log;
  fs::remove_all(folder);
  for (int i = 0; i < 150; ++i) log.log(std::string(1'000, 'x'));
  EXPECT_THAT(namesIn(folder), ElementsAre("App.log"));
}

TEST_F(LoggerTest, ThePlatformOpensAndRevealsTheLog) {
  Logger log;
  log.displayLog();
  Logger::showInFinder();
  EXPECT_THAT(fake->workspace->calls, ElementsAre("open " + live, "reveal " + folder));
}

TEST_F(LoggerTest, TheLibrarysOwnLinesGoToTheSharedLogger) {
  Logger::setInstance(std::make_shared<Logger>());
  logLine("from the core");
  logNotice("a notice");
  EXPECT_THAT(loggedMessages(live), ElementsAre("> Logging begins for: The App", "> from the core", "> a notice"));
}

TEST_F(LoggerTest, WithoutAnIdentifierNothingIsOpened) {
  identify({{"CFBundleName", "Nameless"}});
  Logger log;
  EXPECT_FALSE(fs::exists(home / "Library"));
  EXPECT_THAT(standardErrorOf([] { logNotice("a notice"); }), EndsWith(": a notice\n"));
  EXPECT_DEATH(log.log("a message"), "fatal: Logger: the main bundle has no identifier");
}

// A child program logs from threads, exit handlers and static destructors while it exits.
TEST_F(LoggerTest, LoggingWhileTheProcessExits) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(std::system(CORVANE_TEST_BIN "/logger_exit"), 0);
    const std::string path = logs + "test.exit/exit.log";
    EXPECT_THAT(loggedMessages(path, "test.exit"), AllOf(Contains("> from a static destructor"),
                                                         Contains("> from an exit handler"), Each(StartsWith("> "))));
    fs::remove(path);
  }
}

}  // namespace
}  // namespace corvane
