#include "corvane/system/Execute.h"

#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <future>
#include <system_error>
#include <thread>

#include "corvane/core/MainQueue.h"
#include "corvane/infra/Logger.h"
#include "corvane/system/TryCatch.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/LogFile.h"
#include "tests/support/TempHome.h"
#include "tests/system/Children.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

struct ExecuteTest : testing::Test {
  ExecuteTest() {
    fake.bundles->main.path = "/moved/The App";
    fake.bundles->main.info = infoPlist(Value::Dictionary{{"CFBundleIdentifier", "a.b.App"}});
    home.set("LC_ALL", "C");
    Logger::setInstance(std::make_shared<Logger>());
  }
  ~ExecuteTest() override { Logger::setInstance(nullptr); }

  Texts logged() const { return loggedMessages(home / "Library/Logs/a.b.App/App.log"); }

  TempHome home;
  FakePlatform fake{home.path().string()};
};

// What a streaming reader got; nothing is lost, and nothing comes after the end.
struct Stream {
  Execute::Reader reader() {
    return [this](const std::optional<std::string>& text) {
      MutexLock lock(mutex);
      if (ends > 0) ++behind;
      if (text)
        pieces.push_back(*text);
      else
        ++ends;
      mutex.broadcast();
    };
  }
  // The pieces, once the end has come.
  Texts wait() {
    MutexLock lock(mutex);
    while (ends == 0)
      if (mutex.wait(30'000'000)) break;
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(behind, 0);
    return pieces;
  }
  void waitFor(const std::string& text) {
    MutexLock lock(mutex);
    while (all() != text)
      if (mutex.wait(30'000'000)) break;
    EXPECT_EQ(all(), text);
  }
  std::string all() const CORVANE_REQUIRES(mutex) {
    std::string result;
    for (const std::string& piece : pieces) result += piece;
    return result;
  }

  mutable Mutex mutex;
  Texts pieces CORVANE_GUARDED_BY(mutex);
  int ends CORVANE_GUARDED_BY(mutex) = 0;
  int behind CORVANE_GUARDED_BY(mutex) = 0;
};

TEST_F(ExecuteTest, SyncGivesStatusAndWholeOutput) {
  const std::string undecodable = "Cannot decode output from: /bin/printf";
  const struct {
    std::string path;
    Texts arguments;
    std::int32_t status;
    std::string output;
  } rows[] = {
      {"/bin/sh", {"-c", "echo out; echo err >&2; exit 4"}, 4, "out\nerr\n"},
      {"/bin/printf", {"\\303\\244\\000z"}, 0, std::string("\u00e4\0z", 4)},
      {"/bin/printf", {"caf\\351"}, 0, undecodable},
      {"/bin/sh", {"-c", "kill -TERM $$"}, SIGTERM, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Execute::syncWithStatus(row.path, row.arguments), std::pair(row.status, row.output)) << row.path;
  }
  EXPECT_EQ(syscmd("echo $((6 * 7)); nonsense_command 2>/dev/null"), "42\n");
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ExecuteTest, OptionsSayWhereAndHowLong) {
  const std::string input(1 << 20, 'x');
  const Execute::Options options{.folder = home.path(), .environment = {{{"ONE", "1"}}}, .input = input};
  EXPECT_EQ(Execute::sync("/bin/sh", {"-c", "pwd; echo $ONE; exec /bin/cat"}, options),
            home.path().string() + "\n1\n" + input);

  // Whichever process has the output open, and whatever group it is in.
  const Texts endless = {"-c", "printf before; setsid sleep 20 & exec sleep 60"};
  const Execute::Options limited{.limit = Timeval::usec(300'000)};
  EXPECT_EQ(Execute::syncWithStatus("/bin/sh", endless, limited), std::pair(SIGKILL, std::string("before")));
  std::promise<std::string> output;
  Execute::async(
      "/bin/sh", endless, QoS::DEFAULT,
      [&](const std::string& text) {
        EXPECT_FALSE(IsMainQueue());
        output.set_value(text);
      },
      limited);
  EXPECT_EQ(output.get_future().get(), "before");
  EXPECT_THAT(logged(), testing::Each("> Execute: the time limit of /bin/sh is over"));
}

TEST_F(ExecuteTest, ACommandMayUseTheCallersTerminal) {
  int terminal = -1;
  const pid_t process = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (process == 0) {
    alarm(30);
    _exit(syscmd("read word </dev/tty; stty -echo; echo $word") == "hello\n" ? 0 : 1);
  }
  EXPECT_EQ(write(terminal, "hello\n", 6), 6);
  int status = -1;
  waitpid(process, &status, 0);
  close(terminal);
  EXPECT_EQ(status, 0);
}

TEST_F(ExecuteTest, WhatCannotStartIsLogged) {
  const std::string path = home / "none";
  const std::string reason = path + ": " + std::generic_category().message(ENOENT);
  EXPECT_EQ(Execute::syncWithStatus(path, {}), std::pair(-1, std::string()));
  Stream stream;
  EXPECT_EQ(Execute::readPipe(path, QoS::DEFAULT, {}, {}, stream.reader()), nullptr);
  Execute::async(path, {}, QoS::DEFAULT, [](const std::string&) { ADD_FAILURE(); })->waitUntilExit();
  EXPECT_TRUE(waitUntil([this] { return logged().size() == 3; }));
  EXPECT_THAT(logged(), ElementsAre("> Execute.sync exception: " + reason, "> Exception caught running " + reason,
                                    "> Execute.async exception: " + reason));
}

TEST_F(ExecuteTest, WithoutAThreadNothingIsStarted) {
  allowThreads(false);
  Stream stream;
  EXPECT_EQ(Execute::readPipe(CHILD, QoS::DEFAULT, {}, {}, stream.reader()), nullptr);
  Execute::async(CHILD, {}, QoS::DEFAULT, [](const std::string&) { ADD_FAILURE(); })->waitUntilExit();
  EXPECT_EQ(Execute::sync("/bin/echo", {"hello"}), "hello\n") << "needs none";
  allowThreads(true);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
  const std::string reason = CHILD + ": " + std::generic_category().message(EAGAIN);
  EXPECT_THAT(logged(), ElementsAre("> Exception caught running " + reason, "> Execute.async exception: " + reason));
}

TEST_F(ExecuteTest, ExeccmdPrintsTheOutputAndALineEnd) {
  const std::string bad("a\0b", 3);
  const struct {
    std::string command;
    std::int32_t status;
    std::string printed;
  } rows[] = {{"echo one; echo two >/dev/null; exit 3", 3, "one\n\n"},
              {"printf 'caf\\351'", 0, ""},
              {"kill -9 $$", SIGKILL, "\n"},
              {bad, -1, ""}};
  for (const auto& row : rows) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(execcmd(row.command), row.status);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.printed) << row.command;
  }
  EXPECT_THAT(logged(), ElementsAre("> Exception caught in " + bad + ": " + std::generic_category().message(EINVAL)));
}

TEST_F(ExecuteTest, ReadPipeGivesPiecesAsTheyComeAndLinesKeepTogether) {
  const struct {
    Texts written;
    Texts pieces;
    Texts lines;
  } rows[] = {
      {{}, {}, {}},
      {{"one\ntw", "o\n\nthree"}, {"one\ntw", "o\n\nthree"}, {"one", "two", "", "three"}},
      {{"\n", "\n"}, {"\n", "\n"}, {"", ""}},
      {{"a\xc3", "\xa4\n", "z"}, {"z"}, {"a\u00e4", "z"}},  // a character cut in two
      {{"x\xf0\x9f", "\x98", "\x80y\n"}, {}, {"x\U0001f600y"}},
      {{"bad \xff\n", "good\n"}, {"good\n"}, {"bad \ufffd", "good"}},
      {{"end \xc3"}, {}, {"end \ufffd"}},
  };
  for (const auto& row : rows) {
    Texts arguments = {"-c", "for piece; do printf %s \"$piece\"; sleep 0.15; done", "sh"};
    arguments.insert(arguments.end(), row.written.begin(), row.written.end());
    Stream pieces;
    Stream lines;
    ASSERT_TRUE(Execute::readPipe("/bin/sh", QoS::DEFAULT, arguments, {}, pieces.reader()));
    ASSERT_TRUE(Execute::readLines("/bin/sh", QoS::DEFAULT, arguments, {}, lines.reader()));
    EXPECT_EQ(pieces.wait(), row.pieces);
    EXPECT_EQ(lines.wait(), row.lines);
  }
}

TEST_F(ExecuteTest, EndlessLinesComeInPiecesCutBetweenCharacters) {
  Stream lines;
  ASSERT_TRUE(Execute::readLines("/bin/sh", QoS::DEFAULT,
                                 {"-c", "printf a; yes \u20ac | head -n 1000000 | tr -d '\\n'; printf '\\nlast'"}, {},
                                 lines.reader()));
  std::string whole = "a";
  for (int i = 0; i < 1'000'000; ++i) whole += "\u20ac";
  const Texts found = lines.wait();
  ASSERT_EQ(found.size(), 4U);
  EXPECT_EQ(found[0].size(), Execute::MAX_LINE);
  EXPECT_TRUE(found[0] + found[1] + found[2] == whole);
  EXPECT_EQ(found[3], "last");
}

TEST_F(ExecuteTest, ReadPipeTakesInputAndEnvironment) {
  Stream stream;
  const auto task = Execute::readPipe("/bin/sh", QoS::DEFAULT, {"-c", "echo $WORD; cat; env | wc -l"},
                                      {{{"WORD", "hello"}, {"PATH", "/bin:/usr/bin"}}}, stream.reader());
  ASSERT_TRUE(task);
  Execute::writeProcess(task, "one\n");
  stream.waitFor("hello\none\n");
  Execute::writeProcess(task, "not UTF-8: \xff\n");
  Execute::writeProcess(task, "two\n");
  task->closeInput();
  Execute::writeProcess(task, "too late");
  Execute::writeProcess(nullptr, "nobody");
  std::string all;
  for (const std::string& piece : stream.wait()) all += piece;
  EXPECT_EQ(all, "hello\none\ntwo\n3\n");  // the shell adds PWD
  task->waitUntilExit();
  Execute::writeProcess(task, "gone");
}

TEST_F(ExecuteTest, AfterClosePipeTheReaderIsNotCalled) {
  Stream stream;
  const auto task =
      Execute::readPipe("/bin/sh", QoS::DEFAULT, {"-c", "for i in first second third; do printf $i; sleep 0.15; done"},
                        {}, stream.reader());
  ASSERT_TRUE(task);
  stream.waitFor("first");
  Execute::closePipe(task);
  Execute::closePipe(task);
  Execute::closePipe(nullptr);
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), 0) << "its output still has somewhere to go";
  MutexLock lock(stream.mutex);
  EXPECT_EQ(stream.all(), "first");
  EXPECT_EQ(stream.ends, 0);
}

TEST(TryCatchTest, TheFinalStepRunsLastWhateverHappened) {
  std::string log;
  const auto final = [&] { log += "final "; };
  const auto note = [&](const Exception& exception) { log += exception.name() + "=" + exception.what() + " "; };
  const auto throws = [] { TryCatch::throwString("reason"); };
  TryCatch::tryRun(throws, note, final);
  EXPECT_EQ(std::exchange(log, {}), "reason=reason final ");
  TryCatch::tryRun(throws, {}, {});
  EXPECT_THROW(TryCatch::tryRun(throws, TryCatch::throwException, final), Exception);
  EXPECT_THROW(TryCatch::tryRun([] { throw 7; }, note, final), int);
  EXPECT_EQ(log, "final final ");
}

FakeChildProcesses* s_programs = nullptr;

TEST_F(ExecuteTest, ARelocatedApplicationIsStartedFromItsOwnPlace) {
  s_programs = &fake.fakeChildProcesses();
  s_programs->programs["/bin/sh"] = {};
  fake.translocation->originals["/moved/The App"] = "/Applications/The \"$App`";
  const auto relaunch = [] {
    std::atexit([] {
      for (const Texts& arguments : s_programs->started())
        std::cerr << arguments.at(1) << " " << arguments.at(2) << "\n";
    });
    Execute::relaunchTranslocated();
  };
  EXPECT_EXIT(relaunch(), testing::ExitedWithCode(0),
              HasSubstr("-c /usr/bin/xattr -cr \"/Applications/The \\\"\\$App\\`\"\n"
                        "-c /usr/bin/open -n -a \"/Applications/The \\\"\\$App\\`\"\n"));
  fake.translocation->invalid = Error{"fake", 1, "broken seal"};
  EXPECT_EXIT(relaunch(), testing::ExitedWithCode(1), testing::Not(HasSubstr("-c")));
  EXPECT_THAT(logged(), ElementsAre("> reopen: /moved/The App as /Applications/The \"$App`",
                                    "> The code signature is not valid: broken seal"));
}

TEST(TranslocationTest, TheOriginalIsTheCallersTextAndLinuxHasNone) {
  {
    FakePlatform fake;
    fake.translocation->originals["/moved/The App"] = "/Applications/The App";
    char* original = getUnTranslocatedURL("/moved/The App");
    EXPECT_STREQ(original, "/Applications/The App");
    std::free(original);
    EXPECT_EQ(getUnTranslocatedURL("/elsewhere"), nullptr);
  }
  EXPECT_EQ(getUnTranslocatedURL("/moved/The App"), nullptr);
  EXPECT_EQ(getUnTranslocatedURL(nullptr), nullptr);
  Execute::relaunchTranslocated();
}

}  // namespace
}  // namespace corvane
