#include "corvane/infra/UserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <limits>
#include <random>
#include <thread>

#include "corvane/infra/Broadcaster.h"
#include "corvane/platform/fake/FakePlatform.h"
#include "tests/support/Pump.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(ConversionsTest, EveryPairOfKinds) {
  constexpr auto MAX = std::numeric_limits<std::int64_t>::max();
  constexpr auto MIN = std::numeric_limits<std::int64_t>::min();
  constexpr double INF = std::numeric_limits<double>::infinity();
  const struct {
    Value stored;
    std::optional<std::string> text;
    std::int64_t integer;
    double real;
    bool truth;
  } rows[] = {
      {"12", "12", 12, 12, true},
      {" \t-12.9 mm", " \t-12.9 mm", -12, -12.9, true},
      {"+7", "+7", 7, 7, true},
      {"1e3", "1e3", 1, 1000, true},
      {".5", ".5", 0, 0.5, false},
      {"0x10", "0x10", 0, 0, false},
      {"007", "007", 7, 7, true},
      {"99999999999999999999", "99999999999999999999", MAX, 1e20, true},
      {"-99999999999999999999", "-99999999999999999999", MIN, -1e20, true},
      {"-9223372036854775808", "-9223372036854775808", MIN, -0x1p63, true},
      {"1e999", "1e999", 1, INF, true},
      {"-1e-999", "-1e-999", -1, 0, true},
      {"inf", "inf", 0, 0, false},
      {"", "", 0, 0, false},
      {"-", "-", 0, 0, false},
      {"--1", "--1", 0, 0, false},
      {"1,5", "1,5", 1, 1, true},
      {"YES", "YES", 0, 0, true},
      {"true", "true", 0, 0, true},
      {" -y", " -y", 0, 0, true},
      {"no", "no", 0, 0, false},
      {"on", "on", 0, 0, false},
      {-12, "-12", -12, -12, true},
      {0, "0", 0, 0, false},
      {MIN, "-9223372036854775808", MIN, -0x1p63, true},
      {2.0, "2", 2, 2, true},
      {-2.9, "-2.9", -2, -2.9, true},
      {0.1, "0.1", 0, 0.1, true},
      {1e21, "1e+21", MAX, 1e21, true},
      {-1e21, "-1e+21", MIN, -1e21, true},
      {INF, "inf", MAX, INF, true},
      {true, "1", 1, 1, true},
      {false, "0", 0, 0, false},
      {Data{{49}}, {}, 0, 0, false},
      {Date{1}, {}, 0, 0, false},
      {Value::Array{1}, {}, 0, 0, false},
      {Value::Dictionary{{"1", 1}}, {}, 0, 0, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.value_or("a kind that is no text"));
    EXPECT_EQ(stringFrom(row.stored), row.text);
    EXPECT_EQ(integerFrom(row.stored), row.integer);
    EXPECT_EQ(realFrom(row.stored), row.real);
    EXPECT_EQ(boolFrom(row.stored), row.truth);
  }
  EXPECT_EQ(integerFrom(std::numeric_limits<double>::quiet_NaN()), 0);
  EXPECT_EQ(stringFrom(-std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(stringArrayFrom(Value::Array{"a", 1}), std::nullopt);
  EXPECT_EQ(stringArrayFrom(Value::Array{}), std::vector<std::string>());
}

struct UserDefaultsTest : testing::Test {
  TempHome home;
  const std::string folder = home / ".config/corvane";
  const std::string database = folder + "/a.b.App.db";
  std::shared_ptr<UserDefaults> defaults = std::make_shared<UserDefaults>("a.b.App");

  // Settings that know nothing of what others of this process have read.
  static std::shared_ptr<UserDefaults> fresh() { return std::make_shared<UserDefaults>("a.b.App"); }

  // Runs `work` in a process of its own.
  template <class Work>
  static pid_t inChild(Work&& work) {
    const pid_t child = fork();
    if (child == 0) {
      work();
      _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    return child;
  }

  static int statusOf(pid_t child) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
  }

  std::string integrity() const {
    sqlite3* file = nullptr;
    std::string answer = "not opened";
    if (sqlite3_open_v2(database.c_str(), &file, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK)
      sqlite3_exec(
          file, "PRAGMA integrity_check",
          [](void* to, int, char** row, char**) {
            *static_cast<std::string*>(to) = row[0];
            return 0;
          },
          &answer, nullptr);
    sqlite3_close(file);
    return answer;
  }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
  }
};

// What the library says on standard error while `work` runs: a program without an identifier keeps no log.
template <class Work>
std::string said(Work&& work) {
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

TEST_F(UserDefaultsTest, EveryKindOfValueIsThereForTheNextProcess) {
  const Value values[] = {"text",
                          "",
                          42,
                          std::numeric_limits<std::int64_t>::min(),
                          1.5,
                          2.0,
                          true,
                          Data{{0, 255}},
                          Date{1.25},
                          Value::Array{1, "two", Value::Array{}},
                          Value::Dictionary{{"a", Value()}}};
  int number = 0;
  for (const Value& value : values) ASSERT_TRUE(defaults->set("key" + std::to_string(number++), value));
  ASSERT_TRUE(defaults->set("", "the empty key"));
  ASSERT_TRUE(defaults->set("ключ/%\n", "any characters"));
  EXPECT_EQ(statusOf(inChild([&] {
              int next = 0;
              for (const Value& value : values) EXPECT_EQ(*fresh()->value("key" + std::to_string(next++)), value);
              EXPECT_EQ(fresh()->string(""), "the empty key");
              EXPECT_EQ(fresh()->string("ключ/%\n"), "any characters");
            })),
            0);
  ASSERT_TRUE(defaults->remove("key0"));
  ASSERT_TRUE(defaults->remove("never there"));
  EXPECT_EQ(defaults->value("key0"), nullptr);
  EXPECT_EQ(fresh()->value("key0"), nullptr);
  EXPECT_EQ(fresh()->domainDictionary()->size(), std::size(values) + 1);
}

TEST_F(UserDefaultsTest, TheApplicationGoesBeforeTheGlobalDomainAndThatBeforeRegisteredValues) {
  UserDefaults global{std::string(UserDefaults::GLOBAL_DOMAIN)};
  defaults->registerDefaults({{"a", "registered"}, {"b", "registered"}, {"c", "first"}});
  defaults->registerDefaults({{"c", "registered"}});
  ASSERT_TRUE(global.set("a", "global"));
  ASSERT_TRUE(global.set("b", "global"));
  ASSERT_TRUE(defaults->set("a", "own"));
  EXPECT_EQ(defaults->dictionaryRepresentation(),
            (Value::Dictionary{{"a", "own"}, {"b", "global"}, {"c", "registered"}}));
  for (const auto& [key, value] : defaults->dictionaryRepresentation())
    EXPECT_EQ(defaults->string(key), *value.asString());
  ASSERT_TRUE(defaults->remove("a"));
  EXPECT_EQ(defaults->string("a"), "global");
  EXPECT_THAT(*defaults->domainDictionary(), IsEmpty());
  EXPECT_EQ(defaults->integer("absent"), std::nullopt);
  EXPECT_EQ(*UserDefaults::domains(), (std::vector<std::string>{".global", "a.b.App"}));
}

TEST_F(UserDefaultsTest, TheProgramsDomainIsNamedByItsIdentifierElseItsExecutable) {
  EXPECT_EQ(UserDefaults().domain(), "infra_test");
  const FakePlatform fake;
  fake.bundles->main.info = "<plist><dict><key>CFBundleIdentifier</key><string>x.y.Z</string></dict></plist>";
  EXPECT_EQ(UserDefaults().domain(), "x.y.Z");
}

TEST_F(UserDefaultsTest, NothingIsOpenedBeforeTheFirstUse) {
  EXPECT_EQ(UserDefaults::shared(), UserDefaults::shared());
  UserDefaults::shared()->registerDefaults({{"a", 1}});
  EXPECT_FALSE(fs::exists(folder));
  EXPECT_EQ(UserDefaults::shared()->integer("a"), 1);
  EXPECT_THAT(files(), ElementsAre("%2Eglobal.changes", "infra_test.changes")) << "reading makes no database";
}

TEST_F(UserDefaultsTest, FilesAreTheUsersAlone) {
  home.write(".config/corvane/a.b.App.changes", "", 0666);
  fs::permissions(folder, fs::perms(0755));
  ASSERT_TRUE(defaults->set("a", 1));
  ASSERT_TRUE(UserDefaults("../x/.. %\x01").set("a", 1)) << "any name is a file in the folder";
  for (const std::string& name : files())
    EXPECT_EQ(fs::status(folder + "/" + name).permissions(), fs::perms(0600)) << name;
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms(0700));
  EXPECT_EQ(*UserDefaults::domains(), (std::vector<std::string>{"../x/.. %\x01", "a.b.App"}));
  EXPECT_FALSE(UserDefaults("").set("a", 1));
  EXPECT_FALSE(UserDefaults(std::string(250, 'x')).set("a", 1));
}

TEST_F(UserDefaultsTest, WhatCannotBeStoredIsAnErrorAndNotThere) {
  Value deep;
  for (int i = 0; i < 600; ++i) deep = Value::Array{deep};
  const struct {
    std::string key;
    Value value;
  } rows[] = {{"a", "\xff"},
              {"b", deep},
              {"c", Date{std::numeric_limits<double>::infinity()}},
              {"\xff", 1},
              {std::string("d\0d", 3), 1}};
  for (const auto& [key, value] : rows) {
    EXPECT_THAT(said([&, k = key, v = value] { EXPECT_FALSE(defaults->set(k, v)); }), HasSubstr(" cannot be stored"));
    EXPECT_EQ(defaults->value(key), nullptr);
  }
  EXPECT_FALSE(defaults->apply({{"good", 1}, {"bad", "\xff"}})) << "all or none";
  EXPECT_EQ(defaults->value("good"), nullptr);
}

TEST_F(UserDefaultsTest, TheNextReadSeesWhatAnotherProcessHasSaved) {
  EXPECT_EQ(defaults->value("n"), nullptr);
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(statusOf(inChild([i] { EXPECT_TRUE(fresh()->set("n", i)); })), 0);
    ASSERT_EQ(defaults->integer("n"), i);
    // A save between theirs keeps theirs.
    ASSERT_TRUE(defaults->set("own", i));
    ASSERT_EQ(defaults->integer("n"), i);
  }
  ASSERT_EQ(statusOf(inChild([] { EXPECT_TRUE(UserDefaults(".global").set("g", 1)); })), 0);
  EXPECT_EQ(defaults->integer("g"), 1);
}

TEST_F(UserDefaultsTest, EightThreadsInEachOfFourProcessesLoseNothing) {
  constexpr int PROCESSES = 4, THREADS = 8, SAVES = 25;
  const auto key = [](int process, int thread, int save) {
    return std::to_string(process) + "." + std::to_string(thread) + "." + std::to_string(save);
  };
  std::vector<pid_t> children;
  for (int process = 0; process < PROCESSES; ++process)
    children.push_back(inChild([&] {
      std::vector<std::thread> threads;
      for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&, thread] {
          for (int save = 0; save < SAVES; ++save) {
            EXPECT_TRUE(defaults->set(key(process, thread, save), save));
            EXPECT_EQ(defaults->integer(key(process, thread, save)), save);
            // All fight for this one.
            EXPECT_TRUE(defaults->set("last", key(process, thread, save)));
          }
        });
      for (auto& thread : threads) thread.join();
    }));
  for (const pid_t child : children) EXPECT_EQ(statusOf(child), 0);
  for (const auto& reader : {defaults, fresh()}) {
    EXPECT_EQ(reader->domainDictionary()->size(), 1U + PROCESSES * THREADS * SAVES);
    EXPECT_THAT(reader->string("last").value_or(""), testing::EndsWith(".24"));
  }
  EXPECT_EQ(integrity(), "ok");
}

TEST_F(UserDefaultsTest, SavesGoOnInAProcessThatForksWhileItsThreadsSave) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's own allocator may be locked in the child of a process with threads";
#endif
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int id = 0; id < 3; ++id)
    threads.emplace_back([&, id] {
      for (int i = 0; !stop; ++i) EXPECT_TRUE(defaults->set("thread" + std::to_string(id), i));
    });
  for (int i = 0; i < 30; ++i) {
    const pid_t child = inChild([&] {
      alarm(30);  // a lock that nobody will release
      EXPECT_TRUE(defaults->set("child" + std::to_string(i), i));
      EXPECT_EQ(defaults->integer("child" + std::to_string(i)), i);
    });
    EXPECT_EQ(statusOf(child), 0);
    EXPECT_EQ(defaults->integer("child" + std::to_string(i)), i);
  }
  stop = true;
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(fresh()->domainDictionary()->size(), 33U);
  EXPECT_EQ(integrity(), "ok");
}

TEST_F(UserDefaultsTest, AKillDuringTheFirstSaveLeavesNothingHalfMade) {
  std::mt19937 random(1);
  for (int round = 0; round < 30; ++round) {
    fs::remove_all(folder);
    const pid_t child = inChild([] { EXPECT_TRUE(fresh()->set("a", 1)); });
    usleep(static_cast<useconds_t>(random() % 10'000));
    kill(child, SIGKILL);
    statusOf(child);
    EXPECT_EQ(said([&] { EXPECT_TRUE(fresh()->set("b", 2)); }), "");
    EXPECT_EQ(fresh()->integer("b"), 2);
  }
}

TEST_F(UserDefaultsTest, EverySaveThatReturnedSurvivesAKill) {
  ASSERT_TRUE(defaults->set("first", true));
  std::mt19937 random(1);
  int returned = 0;
  for (int round = 0; round < 200; ++round) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = inChild([&] {
      const std::string filler(random() % 2000, 'x');
      for (int i = returned;; ++i) {
        if (!defaults->apply({{"n" + std::to_string(i % 50), i}, {"filler", filler}})) _exit(1);
        if (write(ends[1], &i, sizeof i) != sizeof i) _exit(1);
      }
    });
    close(ends[1]);
    usleep(static_cast<useconds_t>(random() % 10'000));
    kill(child, SIGKILL);
    ASSERT_EQ(WTERMSIG(statusOf(child)), SIGKILL);
    int last = -1;
    while (read(ends[0], &last, sizeof last) == sizeof last) {
    }
    close(ends[0]);
    if (last < 0) continue;
    // The save after the last one that returned may have been done too, whole.
    for (int i = std::max(returned, last - 48); i <= last; ++i)
      ASSERT_EQ(defaults->integer("n" + std::to_string(i % 50)), i);
    for (int i = std::max(returned, last - 48); i <= last; ++i)
      ASSERT_EQ(fresh()->integer("n" + std::to_string(i % 50)), i);
    returned = last + 2;
  }
  EXPECT_GT(returned, 200);
  EXPECT_EQ(integrity(), "ok");
  EXPECT_THAT(files(), testing::Not(testing::Contains(HasSubstr("damaged"))));
}

TEST_F(UserDefaultsTest, ADamagedFileIsReportedKeptAsideAndReplaced) {
  const struct {
    const char* what;
    void (*damage)(const std::string& path);
  } rows[] = {
      {"emptied", [](const std::string& path) { fs::resize_file(path, 0); }},
      {"cut in the header", [](const std::string& path) { fs::resize_file(path, 50); }},
      {"cut at half", [](const std::string& path) { fs::resize_file(path, fs::file_size(path) / 2); }},
      {"garbage", [](const std::string& path) { std::ofstream(path) << std::string(20'000, 'g'); }},
      {"garbage in the middle",
       [](const std::string& path) {
         std::fstream file(path, std::ios::in | std::ios::out);
         file.seekp(4096);
         file << std::string(3 * 4096, 'g');
       }},
      {"another kind of database",
       [](const std::string& path) {
         fs::remove(path);
         sqlite3* other = nullptr;
         sqlite3_open(path.c_str(), &other);
         sqlite3_exec(other, "CREATE TABLE t (x)", nullptr, nullptr, nullptr);
         sqlite3_close(other);
       }},
  };
  const Value filler = std::string(500, 'x');
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    fs::remove_all(folder);
    for (const bool byReader : {true, false}) {
      defaults = fresh();
      for (int i = 0; i < 60; ++i) ASSERT_TRUE(defaults->set("k" + std::to_string(i), filler));
      defaults.reset();  // the last one that has it open writes it back into one file
      ASSERT_FALSE(fs::exists(database + "-wal"));
      row.damage(database);
      std::ifstream file(database);
      const std::string damaged{std::istreambuf_iterator<char>(file), {}};
      defaults = fresh();
      const std::string log = said([&] {
        if (byReader) {
          EXPECT_EQ(defaults->string("k1"), std::nullopt);
        }
        EXPECT_TRUE(defaults->set("new", 1));
        EXPECT_EQ(defaults->integer("new"), 1);
        EXPECT_EQ(defaults->string("k1"), std::nullopt);
      });
      const std::size_t begin = log.find(database + ".damaged-");
      ASSERT_NE(begin, std::string::npos) << log;
      EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;
      std::ifstream kept(log.substr(begin, log.find(',', begin) - begin));
      EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), damaged);
      EXPECT_EQ(fresh()->domainDictionary()->size(), 1U);
      EXPECT_EQ(*UserDefaults::domains(), (std::vector<std::string>{"a.b.App"}));
      defaults.reset();
      fs::remove(database);
    }
  }
}

TEST_F(UserDefaultsTest, DamageUnderARunningProgramIsFoundByTheNextSave) {
  ASSERT_TRUE(defaults->set("a", 1));
  std::ofstream(database) << std::string(20'000, 'g');
  std::ofstream(database + "-wal") << std::string(20'000, 'g');
  ASSERT_EQ(statusOf(inChild([] { EXPECT_THAT(said([] { fresh()->set("b", 2); }), HasSubstr(".damaged-")); })), 0);
  EXPECT_EQ(defaults->integer("b"), 2) << "the program that has the old file open turns to the new one";
  ASSERT_TRUE(defaults->set("c", 3));
  EXPECT_EQ(fresh()->domainDictionary()->size(), 2U);
}

TEST_F(UserDefaultsTest, AValueThatIsDamagedIsReportedAndTheOthersAreThere) {
  ASSERT_TRUE(defaults->set("a", 1));
  ASSERT_TRUE(defaults->set("b", 2));
  defaults.reset();
  sqlite3* file = nullptr;
  sqlite3_open(database.c_str(), &file);
  sqlite3_exec(file, "UPDATE entries SET value = x'00' WHERE key = 'a'", nullptr, nullptr, nullptr);
  sqlite3_close(file);
  defaults = fresh();
  EXPECT_THAT(said([&] { EXPECT_EQ(defaults->integer("a"), std::nullopt); }), HasSubstr("the value of a is damaged"));
  EXPECT_EQ(defaults->integer("b"), 2);
}

TEST_F(UserDefaultsTest, DeletedFilesMeanNoSettingsAndSavesGoToNewOnes) {
  for (const bool all : {true, false}) {
    ASSERT_TRUE(defaults->set("a", 1));
    const auto other = std::make_shared<UserDefaults>("a.b.App");
    EXPECT_EQ(other->integer("a"), 1);
    if (all)
      fs::remove_all(folder);
    else
      for (const std::string& name : files()) fs::remove(folder + "/" + name);
    ASSERT_TRUE(defaults->set("b", 2));
    EXPECT_EQ(statusOf(inChild([] { EXPECT_EQ(*fresh()->domainDictionary(), (Value::Dictionary{{"b", 2}})); })), 0);
    EXPECT_EQ(defaults->value("a"), nullptr);
    EXPECT_EQ(other->integer("b"), 2);
  }
}

TEST_F(UserDefaultsTest, WhatPermissionsCloseIsLeftAloneAndReadAsFarAsItGoes) {
  ASSERT_TRUE(defaults->set("a", 1));
  defaults.reset();
  fs::permissions(home.path(), fs::perms(0755));
  const uid_t user = geteuid();
  const auto become = [&](uid_t id) { ASSERT_EQ(user == 0 ? seteuid(id) : 0, 0); };
  constexpr uid_t NOBODY = 65534;
  if (user == 0) {
    ASSERT_EQ(chown((home / ".config").c_str(), NOBODY, NOBODY), 0);
    for (const auto& entry : fs::recursive_directory_iterator(home / ".config"))
      ASSERT_EQ(chown(entry.path().c_str(), NOBODY, NOBODY), 0);
  }
  const struct {
    const char* what;
    mode_t folderMode, fileMode;
    bool isReadable;
  } rows[] = {{"a file to read", 0700, 0400, true},
              {"a folder to read", 0500, 0600, true},
              {"both to read", 0500, 0400, true},
              {"a closed file", 0700, 0000, false},
              {"a closed folder", 0000, 0600, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ASSERT_EQ(chmod(database.c_str(), row.fileMode), 0);
    ASSERT_EQ(chmod(folder.c_str(), row.folderMode), 0);
    become(NOBODY);
    const auto reader = fresh();
    if (!row.isReadable) {
      EXPECT_THAT(said([] { EXPECT_EQ(fresh()->value("a"), nullptr); }), HasSubstr(database)) << "reads tell too";
    }
    const std::string log = said([&] {
      EXPECT_EQ(reader->integer("a"), row.isReadable ? std::optional<std::int64_t>(1) : std::nullopt);
      for (int i = 0; i < 3; ++i) EXPECT_FALSE(reader->set("b", 2));
      EXPECT_EQ(reader->value("b"), nullptr) << "nothing is kept in memory only";
    });
    EXPECT_THAT(log, AllOf(HasSubstr(row.folderMode == 0 ? folder : database), testing::Not(HasSubstr("damaged"))));
    EXPECT_LE(std::ranges::count(log, '\n'), 3) << "the same failure is told once\n" << log;
    become(user);
    ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
    ASSERT_EQ(chmod(database.c_str(), 0600), 0);
    become(NOBODY);
    EXPECT_TRUE(reader->set("c", 3)) << "once the permissions are back";
    EXPECT_EQ(reader->integer("a"), 1);
    become(user);
  }
  if (user == 0) {
    // A file that belongs to somebody else, as a program run by the administrator leaves it.
    ASSERT_EQ(chown(database.c_str(), 0, 0), 0);
    become(NOBODY);
    EXPECT_THAT(said([] {
                  EXPECT_EQ(fresh()->value("a"), nullptr);
                  EXPECT_FALSE(fresh()->set("b", 2));
                }),
                HasSubstr(database + ": Permission denied"));
    become(user);
  }
}

TEST_F(UserDefaultsTest, ThingsThatAreNoFilesAreLeftAlone) {
  fs::create_directories(database);
  EXPECT_THAT(said([&] { EXPECT_FALSE(defaults->set("a", 1)); }), HasSubstr(database + ": not a regular file"));
  fs::remove_all(folder);
  fs::create_directories(folder);
  ASSERT_EQ(mkfifo(database.c_str(), 0600), 0);
  EXPECT_FALSE(fresh()->set("a", 1));
  fs::remove_all(folder);
  home.write(".config/corvane", "a file where the folder should be");
  EXPECT_THAT(said([] { EXPECT_FALSE(fresh()->set("a", 1)); }), HasSubstr(folder + ": Not a directory"));
  fs::remove(folder);
  EXPECT_TRUE(fresh()->set("a", 1));
}

// A full disk, and the same once there is room again.
TEST_F(UserDefaultsTest, AFullDiskRefusesSavesAndKeepsWhatIsThere) {
  fs::create_directories(folder);
  const bool isMounted = mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=256k") == 0;
  rlimit unlimited{};
  getrlimit(RLIMIT_FSIZE, &unlimited);
  if (!isMounted) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit full = unlimited;
    full.rlim_cur = 200'000;
    setrlimit(RLIMIT_FSIZE, &full);
  }
  int stored = 0;
  const Value filler = std::string(10'000, 'x');
  std::optional<Result<void>> failed;
  for (; stored < 100; ++stored)
    if (auto result = defaults->set("k" + std::to_string(stored), filler); !result) {
      failed = result;
      break;
    }
  ASSERT_TRUE(failed);
  EXPECT_GT(stored, 3);
  EXPECT_THAT(failed->error().description, HasSubstr(database));
  EXPECT_EQ(defaults->value("k" + std::to_string(stored)), nullptr);
  EXPECT_EQ(defaults->domainDictionary()->size(), static_cast<std::size_t>(stored));
  EXPECT_TRUE(!isMounted || mount("tmpfs", folder.c_str(), "tmpfs", MS_REMOUNT, "size=10M") == 0);
  setrlimit(RLIMIT_FSIZE, &unlimited);
  EXPECT_TRUE(defaults->set("after", filler));
  EXPECT_EQ(fresh()->domainDictionary()->size(), static_cast<std::size_t>(stored) + 1);
  EXPECT_EQ(integrity(), "ok");
  defaults.reset();
  EXPECT_TRUE(!isMounted || umount2(folder.c_str(), MNT_DETACH) == 0);
}

struct Keys : Listener {
  std::vector<std::string> keys;
  void onBroadcast(const std::string& key, const std::any& object) override {
    EXPECT_EQ(key, UserDefaults::DID_CHANGE);
    EXPECT_TRUE(IsMainQueue());
    keys.push_back(std::any_cast<std::string>(object));
  }
  bool has(const std::string& key) const { return std::ranges::find(keys, key) != keys.end(); }
};

TEST_F(UserDefaultsTest, ChangedKeysAreBroadcastOnceSomebodyAsks) {
  const auto listener = std::make_shared<Keys>();
  AddListener(std::string(UserDefaults::DID_CHANGE), listener);
  ASSERT_TRUE(defaults->set("before", 1));
  ASSERT_TRUE(defaults->set("same", 1));
  defaults->observeChanges();
  defaults->observeChanges();
  std::thread([&] {
    ASSERT_TRUE(defaults->set("same", 1));
    ASSERT_TRUE(defaults->set("own", 1));
    ASSERT_TRUE(defaults->remove("absent"));
  }).join();
  EXPECT_THAT(listener->keys, IsEmpty());
  EXPECT_TRUE(pumpUntil([&] { return listener->has("own"); }));
  // This process only reads from here on, and does not even do that by itself.
  ASSERT_EQ(statusOf(inChild([] {
              EXPECT_TRUE(fresh()->set("foreign", 1));
              EXPECT_TRUE(fresh()->remove("before"));
              EXPECT_TRUE(UserDefaults(".global").set("global", 1));
              EXPECT_TRUE(UserDefaults("some.other").set("other", 1));
            })),
            0);
  EXPECT_TRUE(
      pumpUntil([&] { return listener->has("foreign") && listener->has("before") && listener->has("global"); }));
  EXPECT_THAT(listener->keys, testing::UnorderedElementsAre("own", "foreign", "before", "global"));
  defaults.reset();
  ASSERT_TRUE(fresh()->set("foreign", 2));
  pump();
  EXPECT_EQ(listener->keys.size(), 4U) << "who is gone does not watch";
}

TEST(UserDefaultsFakeTest, AFailedReadKeepsWhatWasKnownAndIsTriedAgain) {
  const FakePlatform fake;
  UserDefaults defaults("a.b.App");
  ASSERT_TRUE(defaults.set("a", 1));
  fake.defaultsStore->changeFromOutside("a.b.App", {{"a", std::nullopt}});
  fake.defaultsStore->fail(Error{"fake", 1, "no answer"});
  EXPECT_THAT(said([&] {
                EXPECT_EQ(defaults.integer("a"), 1);
                EXPECT_EQ(defaults.integer("a"), 1);
                EXPECT_FALSE(defaults.domainDictionary());
                EXPECT_FALSE(defaults.set("a", 2));
              }),
              testing::MatchesRegex(".*Settings of a.b.App: no answer\n.*Settings of .global: no answer\n"));
  fake.defaultsStore->fail(std::nullopt);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (defaults.value("a") && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(defaults.value("a"), nullptr);
}

}  // namespace
}  // namespace corvane
