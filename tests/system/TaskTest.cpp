#include "corvane/system/Task.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"
#include "tests/system/Children.h"

namespace {

std::atomic<int> s_pipeFails = 0;  // errno of the pipes that the test wants to fail

}  // namespace

extern "C" __attribute__((visibility("default"))) int pipe2(int* ends, int flags) noexcept {
  if (const int code = s_pipeFails) {
    errno = code;
    return -1;
  }
  static const auto real = reinterpret_cast<int (*)(int*, int)>(dlsym(RTLD_NEXT, "pipe2"));
  return real(ends, flags);
}

namespace corvane {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using Reason = Task::TerminationReason;
using Stream = Task::Stream;

// How many threads ("task") or descriptors ("fd") this process has.
std::size_t count(const std::string& what) {
  return namesIn("/proc/self/" + what).size();
}

Task::Settings shell(const std::string& command) {
  return {.executable = "/bin/sh", .arguments = {"-c", command}};
}

// A task whose output is kept, and which reports when it is over.
struct Kept {
  explicit Kept(Task::Settings settings) {
    settings.output = Stream::read([this](Task&, std::string_view bytes) {
      if (bytes.empty()) ++ends;
      output.acquire_block([&] { text.append(bytes); });
    });
    settings.terminationHandler = [this](Task&) { over = true; };
    task = Task::create(std::move(settings));
  }
  ~Kept() {
    task->kill();
    EXPECT_TRUE(!task->processIdentifier() || wait());
  }
  bool wait() const {
    return waitUntil([this] { return over.load(); });
  }
  std::string soFar() {
    return output.acquire_block([this] { return text; });
  }

  Mutex output;
  std::string text;
  std::atomic<int> ends = 0;
  std::atomic<bool> over = false;
  std::shared_ptr<Task> task;
};

TEST(TaskTest, ChildrenEndInEveryWay) {
  const struct {
    Task::Settings settings;
    Reason reason;
    std::int32_t status;
    std::string output;
  } rows[] = {
      {{.executable = "/bin/true"}, Reason::EXIT, 0, ""},
      {shell("exit 255"), Reason::EXIT, 255, ""},
      {shell("kill -KILL $$"), Reason::UNCAUGHT_SIGNAL, SIGKILL, ""},
      {shell(CLOSES_AND_LIVES), Reason::EXIT, 7, "bye"},
      {shell(LEAVES_A_GRANDCHILD), Reason::EXIT, 3, "child grandchild"},
      {{.executable = "/bin/cat", .input = Stream::nothing()}, Reason::EXIT, 0, ""},
      {{.executable = "/bin/sh", .arguments = {"-c", "echo out; echo err >&2"}, .error = Stream::output()},
       Reason::EXIT,
       0,
       "out\nerr\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.settings.executable + " " + testing::PrintToString(row.settings.arguments));
    Kept kept(row.settings);
    EXPECT_EQ(kept.task->terminationStatus(), std::nullopt);
    EXPECT_EQ(kept.task->processIdentifier(), std::nullopt);
    ASSERT_TRUE(kept.task->launch());
    EXPECT_GT(kept.task->processIdentifier(), 1);
    ASSERT_TRUE(kept.wait());
    EXPECT_FALSE(kept.task->isRunning());
    EXPECT_EQ(kept.task->terminationReason(), row.reason);
    EXPECT_EQ(kept.task->terminationStatus(), row.status);
    EXPECT_GT(kept.task->resourceUsage().ru_maxrss, 100);
    EXPECT_EQ(kept.text, row.output);
    EXPECT_EQ(kept.ends, 1);
    EXPECT_FALSE(kept.task->launch()) << "only once";
  }
}

TEST(TaskTest, TheExitIsSeenWhileAGrandchildHoldsTheStreams) {
  Task::Settings settings = shell("exec 3<&0; cat <&3 & exit 3");
  settings.input = Stream::written();
  Kept kept(std::move(settings));
  ASSERT_TRUE(kept.task->launch());
  EXPECT_TRUE(waitUntil([&] { return !kept.task->isRunning(); }));
  EXPECT_EQ(kept.task->terminationStatus(), 3);
  EXPECT_FALSE(kept.over);
  EXPECT_TRUE(kept.task->write("later"));
  kept.task->closeInput();
  ASSERT_TRUE(kept.wait());
  EXPECT_EQ(kept.text, "later");
}

TEST(TaskTest, WhatCannotBeLaunchedSaysWhy) {
  const TempHome home;
  const std::string folder = "/no/such/folder";
  const struct {
    Task::Settings settings;
    int code;
    std::string subject = {};
  } rows[] = {
      {{.executable = ""}, ENOENT},
      {{.executable = "true", .folder = "/bin"}, ENOENT},  // relative to the caller
      {{.executable = home.write("script", "echo hello\n", 0755)}, ENOEXEC},
      {{.executable = CHILD, .arguments = {std::string(2 << 20, 'x')}}, E2BIG},
      {{.executable = CHILD, .arguments = {std::string("a\0b", 3)}}, EINVAL},
      {{.executable = CHILD, .environment = {{{"A=B", "C"}}}}, EINVAL},
      {{.executable = CHILD, .environment = {{{"A", std::string(1, '\0')}}}}, EINVAL},
      {{.executable = CHILD, .folder = folder}, ENOENT, folder + ": "},
      {{.executable = CHILD, .error = Stream::file(-1)}, EBADF},
  };
  for (const auto& row : rows) {
    Kept kept(row.settings);
    const auto launched = kept.task->launch();
    ASSERT_FALSE(launched) << row.code;
    EXPECT_EQ(launched.error().description, row.subject + std::generic_category().message(row.code));
    kept.task->waitUntilExit();
    EXPECT_FALSE(kept.task->isRunning());
    EXPECT_FALSE(kept.task->write("x"));
    EXPECT_EQ(kept.ends, 0);
  }
  EXPECT_FALSE(Task::create({.executable = CHILD, .error = Stream::written()})->launch());
  EXPECT_FALSE(Task::create({.executable = CHILD, .input = Stream::output()})->launch());
  EXPECT_FALSE(Task::create({.executable = CHILD, .input = Stream::read({})})->launch());
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

TEST(TaskTest, WithoutDescriptorsOrMemoryNothingIsLaunched) {
  {
    // The undefined-behaviour sanitizer needs descriptors to look at an object of a new type: let it see them all.
    Kept kept({.executable = "/bin/true", .input = Stream::written()});
    ASSERT_TRUE(kept.task->launch());
    ASSERT_TRUE(kept.wait());
  }
  for (const int code : {ENOMEM, ENFILE}) {
    Kept kept({.executable = CHILD});
    s_pipeFails = code;
    const auto launched = kept.task->launch();
    s_pipeFails = 0;
    ASSERT_FALSE(launched);
    EXPECT_EQ(launched.error().code, code);
  }
  // With every number of free descriptors: all fails cleanly or all works, even without one for the process.
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const std::size_t before = count("fd");
  int launches = 0;
  for (rlim_t room = 0; room < 8; ++room) {
    Kept kept({.executable = "/bin/echo", .arguments = {"hello"}, .input = Stream::written()});
    const FileDescriptor highest(dup(0));
    const rlimit tight{static_cast<rlim_t>(highest.get()) + 1 + room, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &tight);
    const auto launched = kept.task->launch();
    setrlimit(RLIMIT_NOFILE, &limit);
    if (!launched) {
      EXPECT_EQ(launched.error().code, EMFILE) << launched.error().description;
      continue;
    }
    ++launches;
    ASSERT_TRUE(kept.wait());
    EXPECT_EQ(kept.text, "hello\n");
    EXPECT_EQ(kept.task->terminationStatus(), 0);
  }
  EXPECT_GE(launches, 2);
  EXPECT_LT(launches, 8);
  EXPECT_TRUE(waitUntil([&] { return count("fd") == before; }));
}

TEST(TaskTest, AChildStartsClean) {
  const TempHome home;
  signal(SIGUSR1, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR2);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  const FileDescriptor inheritable(open("/dev/null", O_RDONLY));  // NOLINT: not close-on-exec
  const struct {
    QoS qos;
    bool sharesGroup;
    const char* group;
    int nice;
  } rows[] = {{QoS::USER_INTERACTIVE, false, "own", 0},
              {QoS::UTILITY, true, "foreign", 5},
              {QoS::BACKGROUND, false, "own", 10}};
  const int own = getpriority(PRIO_PROCESS, 0);
  for (const auto& row : rows) {
    // The niceness is set from outside: wait for it.
    Kept kept({.executable = "/bin/sh",
               .arguments = {"-c", "sleep 0.3; exec " + CHILD},
               .environment = {{{"ONE", "1"}, {"SPACED", "a b"}}},
               .folder = home.path(),
               .qos = row.qos,
               .input = Stream::written(),
               .sharesGroup = row.sharesGroup});
    ASSERT_TRUE(kept.task->launch());
    ASSERT_TRUE(kept.wait());
    EXPECT_THAT(kept.text,
                testing::StartsWith("descriptors 0 1 2; changed signals; " + std::string(row.group) + " group; nice " +
                                    std::to_string(std::max(row.nice, own)) + "; in " + home.path().string()));
    EXPECT_THAT(kept.text, testing::AllOf(HasSubstr("ONE=1"), HasSubstr("SPACED=a b"), Not(HasSubstr("HOME="))));
  }
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGUSR2), 1);
  EXPECT_EQ(sigismember(&mask, SIGCHLD), 0);
}

TEST(TaskTest, StandardDescriptorsMayBeClosedOrSwapped) {
  const auto works = [](int closed) {
    Kept kept({.executable = "/bin/sh",
               .arguments = {"-c", "cat; echo err >&2"},
               .input = Stream::written(),
               .error = Stream::output()});
    if (!kept.task->launch()) return false;
    for (int fd = 0; fd < 3; ++fd)
      if ((closed & (1 << fd)) != 0 && fcntl(fd, F_GETFD) != -1) return false;  // it stays closed
    kept.task->write("in ");
    kept.task->closeInput();
    return kept.wait() && kept.text == "in err\n";
  };
  for (int closed = 1; closed < 8; ++closed) {
    const auto close = [closed] {
      for (int fd = 0; fd < 3; ++fd)
        if ((closed & (1 << fd)) != 0) ::close(fd);
    };
    EXPECT_EXIT((close(), _exit(works(closed) ? 0 : 1)), testing::ExitedWithCode(0), "") << closed;
  }
  const TempHome home;
  const auto swap = [&home] {
    dup2(open((home / "one").c_str(), O_WRONLY | O_CREAT, 0600), 1);
    dup2(open((home / "two").c_str(), O_WRONLY | O_CREAT, 0600), 2);
    Task::Settings settings = shell("echo out; echo err >&2");
    settings.output = Stream::file(2);
    settings.error = Stream::file(1);
    _exit(Task::create(std::move(settings))->run() ? 0 : 1);
  };
  EXPECT_EXIT(swap(), testing::ExitedWithCode(0), "");
  EXPECT_EQ(contentOf(home / "one"), "err\n");
  EXPECT_EQ(contentOf(home / "two"), "out\n");
}

TEST(TaskTest, SignalsReachTheChildAndItsGroup) {
  const struct {
    std::string command;  // of a shell
    void (Task::*end)();
    std::int32_t signal;
  } rows[] = {{CHILD + " sleeps; exit 1", &Task::interrupt, SIGINT},  // through a shell that waits
              {CHILD + " sleeps; exit 1", &Task::terminate, SIGTERM},
              {CHILD + " sleeps; exit 1", &Task::kill, SIGKILL},
              {"exec " + CHILD + " leaves-group", &Task::terminate, SIGTERM},
              {"trap '' TERM; printf ready; sleep 60", &Task::kill, SIGKILL}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.command);
    Kept kept(shell(row.command));
    (kept.task.get()->*row.end)();  // too early: does nothing
    ASSERT_TRUE(kept.task->launch());
    ASSERT_TRUE(waitUntil([&] { return kept.soFar() == "ready"; }));
    if (row.command.starts_with("trap")) {
      kept.task->terminate();
      std::this_thread::sleep_for(milliseconds(100));
      EXPECT_TRUE(kept.task->isRunning());
    }
    (kept.task.get()->*row.end)();
    ASSERT_TRUE(kept.wait()) << "the grandchild holds the output";
    EXPECT_EQ(kept.task->terminationReason(), Reason::UNCAUGHT_SIGNAL);
    EXPECT_EQ(kept.task->terminationStatus(), row.signal);
    (kept.task.get()->*row.end)();  // too late: does nothing
  }
}

TEST(TaskTest, SignalsLeaveASharedGroupAlone) {
  Kept kept({.executable = CHILD, .arguments = {"sleeps"}, .sharesGroup = true});
  ASSERT_TRUE(kept.task->launch());
  ASSERT_TRUE(waitUntil([&] { return kept.soFar() == "ready"; }));
  kept.task->signal(SIGUSR1);  // which would end this process too
  ASSERT_TRUE(kept.wait());
  EXPECT_EQ(kept.task->terminationStatus(), SIGUSR1);
}

TEST(TaskTest, InputOfAnySizeIsWrittenWithoutWaiting) {
  std::string sent;
  for (int i = 0; sent.size() < (20 << 20); ++i) sent += std::to_string(i) + "\n";
  Kept kept({.executable = "/bin/cat", .arguments = {"/dev/stdin"}, .input = Stream::written()});
  EXPECT_FALSE(kept.task->write("too early"));
  ASSERT_TRUE(kept.task->launch());
  for (std::size_t at = 0; at < sent.size(); at += 1'000'003)
    EXPECT_TRUE(kept.task->write(std::string_view(sent).substr(at, 1'000'003)));
  kept.task->closeInput();
  EXPECT_FALSE(kept.task->write("too late"));
  ASSERT_TRUE(kept.wait());
  EXPECT_TRUE(kept.text == sent);
}

TEST(TaskTest, AReaderThatIsGoneIsAnErrorNotASignal) {
  signal(SIGPIPE, SIG_DFL);
  const std::size_t before = count("fd");
  {
    Kept busy({.executable = "/bin/sleep", .arguments = {"60"}, .input = Stream::written()});
    ASSERT_TRUE(busy.task->launch());
    EXPECT_TRUE(busy.task->write(std::string(8 << 20, 'x'))) << "nobody reads, nobody waits";
    const auto writeToNobody = [] {
      Task::Settings settings = shell("exec <&-; printf ready; sleep 60");
      settings.input = Stream::written();
      Kept kept(std::move(settings));
      ASSERT_TRUE(kept.task->launch());
      ASSERT_TRUE(waitUntil([&] { return kept.soFar() == "ready"; }));
      EXPECT_FALSE(kept.task->write("x"));
      EXPECT_TRUE(kept.task->isRunning());
    };
    writeToNobody();
    // One that the application has blocked stays pending.
    sigset_t pipe, pending, mask;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 0) << "as it was";
    raise(SIGPIPE);
    writeToNobody();
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
  }
  EXPECT_TRUE(waitUntil([&] { return count("fd") == before; }));
}

TEST(TaskTest, TheStatusIsKnownToReadersAndManyWaiters) {
  for (int i = 0; i < 20; ++i) {
    std::atomic<int> found = 0;
    const auto task = Task::create({.executable = "/bin/sh",
                                    .arguments = {"-c", "exit 5"},
                                    .output = Stream::read([&](Task& self, std::string_view bytes) {
                                      if (!bytes.empty()) return;
                                      self.waitUntilExit();
                                      found += self.terminationStatus().value_or(-1);
                                    })});
    std::vector<std::thread> waiters;
    for (int j = 0; j < 4; ++j)
      waiters.emplace_back([&] {
        task->waitUntilExit();
        found += task->terminationStatus().value_or(-1);
      });
    ASSERT_TRUE(task->launch());
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_TRUE(waitUntil([&] { return found == 25; })) << found;
  }
}

TEST(TaskTest, TheApplicationsHandlerOfSigchldStays) {
  const auto handler = [](int) {};
  signal(SIGCHLD, handler);
  const auto task = Task::create(shell("exit 4"));
  EXPECT_TRUE(task->run());
  EXPECT_EQ(task->terminationStatus(), 4);
  EXPECT_EQ(signal(SIGCHLD, SIG_IGN), static_cast<sighandler_t>(handler));
  const auto forgotten = Task::create(shell("exit 4"));
  EXPECT_TRUE(forgotten->run());
  EXPECT_EQ(forgotten->terminationStatus(), -1) << "the system forgets it";
}

TEST(TaskTest, NothingIsLeftAfterAThousandRuns) {
  const std::size_t descriptors = count("fd"), threads = count("task");
  for (int i = 0; i < 1000; ++i)
    EXPECT_TRUE(
        Task::create({.executable = "/bin/true", .input = Stream::written(), .output = Stream::read({})})->run());
  // Idle threads end after 5 s; a sanitizer may have started one of its own.
  EXPECT_TRUE(waitUntil([&] { return count("fd") == descriptors && count("task") <= threads + 1; }));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
}  // namespace corvane
