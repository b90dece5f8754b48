#include "corvane/infra/settings/UserDefaults.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <limits>
#include <random>

#include "corvane/infra/Broadcaster.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/Pump.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

constexpr auto MAX = std::numeric_limits<std::int64_t>::max();
constexpr auto MIN = std::numeric_limits<std::int64_t>::min();
constexpr double INF = std::numeric_limits<double>::infinity();

TEST(ConversionsTest, EveryPairOfKinds) {
  const auto expect = [](const Value& stored, const std::optional<std::string>& text, std::int64_t integer, double real,
                         bool truth) {
    EXPECT_EQ(std::tuple(stringFrom(stored), integerFrom(stored), realFrom(stored), boolFrom(stored)),
              std::tuple(text, integer, real, truth));
  };
  const std::tuple<const char*, std::int64_t, double> numbers[] = {
      {"12", 12, 12},     {" \t-12.9 mm", -12, -12.9},
      {"+7", 7, 7},       {"1e3", 1, 1000},
      {"007", 7, 7},      {"1e999", 1, INF},
      {"-1e-999", -1, 0}, {"9223372036854775808", MAX, 0x1p63},
      {"1,5", 1, 1},      {"-99999999999999999999", MIN, -1e20},
      {"YES", 0, 0},      {" -y", 0, 0},
      {"true", 0, 0}};
  for (const auto& [text, integer, real] : numbers) expect(text, text, integer, real, true);
  for (const char* text : {"", "-", "--1", "0x10", "inf", "no", ".5"})
    expect(text, text, 0, std::string(text) == ".5" ? 0.5 : 0, false);
  const std::tuple<double, const char*, std::int64_t> reals[] = {
      {0, "0", 0}, {-2.9, "-2.9", -2}, {1e21, "1e+21", MAX}, {-1e21, "-1e+21", MIN}, {INF, "inf", MAX}};
  for (const auto& [stored, text, integer] : reals) expect(stored, text, integer, stored, stored != 0);
  for (const int stored : {-12, 0}) expect(stored, std::to_string(stored), stored, stored, stored != 0);
  for (const bool stored : {true, false}) expect(stored, stored ? "1" : "0", stored, stored, stored);
  for (const Value& stored : Value::Array{Data{{49}}, Date{1}, Value::Array{1}, Value::Dictionary{{"1", 1}}})
    expect(stored, std::nullopt, 0, 0, false);
  EXPECT_EQ(integerFrom(std::numeric_limits<double>::quiet_NaN()), 0);
  EXPECT_EQ(stringFrom(-std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(stringArrayFrom(Value::Array{"a", 1}), std::nullopt);
  EXPECT_EQ(stringArrayFrom(Value::Array{"a"}), std::vector<std::string>{"a"});
}

struct UserDefaultsTest : Test {
  TempHome home;
  const std::string folder = home / ".config/corvane";
  const std::string database = folder + "/a.b.App.db";
  std::shared_ptr<UserDefaults> defaults = fresh();
  std::mt19937 random{1};

  // Settings that share nothing with what others in this process have read.
  static std::shared_ptr<UserDefaults> fresh() { return std::make_shared<UserDefaults>("a.b.App"); }

  template <class Work>
  static pid_t startChild(Work&& work) {
    const pid_t child = fork();
    if (child == 0) {
      work();
      _exit(Test::HasFailure() ? 1 : 0);
    }
    return child;
  }

  static int statusOf(pid_t child) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
  }

  // Runs `work` in a process of its own; a failure there fails the test.
  template <class Work>
  static void inChild(Work&& work) {
    EXPECT_EQ(statusOf(startChild(work)), 0);
  }

  // Kills a process within 10 ms; returns its status.
  int killSoon(pid_t child) {
    usleep(static_cast<useconds_t>(random() % 10'000));
    kill(child, SIGKILL);
    return statusOf(child);
  }

  // Runs a statement on the file, bypassing the library; returns the result.
  std::string sql(const char* statement) const {
    std::string answer;
    const auto take = [](void* to, int, char** row, char**) {
      *static_cast<std::string*>(to) = row[0];
      return 0;
    };
    sqlite3* file = nullptr;
    EXPECT_EQ(sqlite3_open(database.c_str(), &file), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(file, statement, take, &answer, nullptr), SQLITE_OK);
    sqlite3_close(file);
    return answer;
  }

  void expectSoundFile() const { EXPECT_EQ(sql("PRAGMA integrity_check"), "ok"); }
};

TEST_F(UserDefaultsTest, TheNextProcessFindsEveryKindOfValue) {
  Value::Dictionary values = {{"", "the empty key"}, {"ключ/%\n", "any characters"}};
  for (const Value& value : Value::Array{"text", MIN, 2.0, true, Data{{0, 255}}, Date{1.25}, Value::Array{1},
                                         Value::Dictionary{{"a", Value()}}})
    values.emplace("key" + std::to_string(values.size()), value);
  for (const auto& [key, value] : values) ASSERT_TRUE(defaults->set(key, value));
  inChild([&] { EXPECT_EQ(*fresh()->domainDictionary(), values); });
  ASSERT_TRUE(defaults->remove("key2"));
  ASSERT_TRUE(defaults->remove("never there"));
  values.erase("key2");
  for (const auto& reader : {defaults, fresh()}) EXPECT_EQ(*reader->domainDictionary(), values);
}

TEST_F(UserDefaultsTest, TheApplicationTakesPrecedenceOverTheGlobalDomainAndThatOverRegisteredValues) {
  UserDefaults global{std::string(UserDefaults::GLOBAL_DOMAIN)};
  defaults->registerDefaults({{"a", "registered"}, {"b", "registered"}, {"c", "first"}});
  defaults->registerDefaults({{"c", "registered"}});
  ASSERT_TRUE(global.set("a", "global"));
  ASSERT_TRUE(global.set("b", "global"));
  ASSERT_TRUE(defaults->set("a", "own"));
  EXPECT_EQ(defaults->dictionaryRepresentation(),
            (Value::Dictionary{{"a", "own"}, {"b", "global"}, {"c", "registered"}}));
  for (const auto& [key, value] : defaults->dictionaryRepresentation()) EXPECT_EQ(*defaults->value(key), value);
  EXPECT_EQ(*defaults->domainDictionary(), (Value::Dictionary{{"a", "own"}}));
  ASSERT_TRUE(defaults->remove("a"));
  EXPECT_EQ(defaults->string("a"), "global");
  EXPECT_EQ(*UserDefaults::domains(), (std::vector<std::string>{".global", "a.b.App"}));
}

TEST_F(UserDefaultsTest, TheSharedSettingsAreTheProgramsAndOpenNothingBeforeTheFirstUse) {
  UserDefaults::shared()->registerDefaults({{"a", 1}});
  EXPECT_FALSE(fs::exists(folder));
  EXPECT_EQ(UserDefaults::shared()->integer("a"), 1);
  EXPECT_THAT(namesIn(folder), ElementsAre("%2Eglobal.changes", "infra_test.changes")) << "reading makes no database";
  const FakePlatform fake;
  fake.bundles->main.info = infoPlist(Value::Dictionary{{"CFBundleIdentifier", "x.y.Z"}});
  EXPECT_EQ(UserDefaults().domain(), "x.y.Z");
}

TEST_F(UserDefaultsTest, FilesAreForTheUserAlone) {
  home.write(".config/corvane/a.b.App.changes", "", 0666);
  fs::permissions(folder, fs::perms(0755));
  ASSERT_TRUE(defaults->set("a", 1));
  ASSERT_TRUE(UserDefaults("../x/.. %\x01").set("a", 1)) << "any name is a file in the folder";
  for (const std::string& name : namesIn(folder))
    EXPECT_EQ(fs::status(folder + "/" + name).permissions(), fs::perms(name.ends_with(".changes") ? 0400 : 0600))
        << name;
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms(0700));
  EXPECT_EQ(*UserDefaults::domains(), (std::vector<std::string>{"../x/.. %\x01", "a.b.App"}));
  for (const std::string& name : {std::string(), std::string(250, 'x')}) EXPECT_FALSE(UserDefaults(name).set("a", 1));
}

TEST_F(UserDefaultsTest, WhatCannotBeStoredIsAnErrorAndNotLoaded) {
  Value deep;
  for (int i = 0; i < 600; ++i) deep = Value::Array{deep};
  for (const auto& row : Value::Dictionary{
           {"a", "\xff"}, {"b", deep}, {"\xff", 1}, {std::string("d\0d", 3), 1}, {"e", Value::Array(1'000'000, true)}})
    EXPECT_THAT(standardErrorOf([&] { EXPECT_FALSE(defaults->set(row.first, row.second)); }),
                HasSubstr(" cannot be stored"));
  EXPECT_FALSE(defaults->apply({{"good", 1}, {"bad", "\xff"}})) << "all or none";
  EXPECT_THAT(*defaults->domainDictionary(), IsEmpty());
}

TEST_F(UserDefaultsTest, TheNextReadSeesWhatAnotherProcessHasSaved) {
  EXPECT_EQ(defaults->value("n"), nullptr);
  for (int i = 0; i < 20; ++i) {
    inChild([i] { EXPECT_TRUE(fresh()->set("n", i)); });
    ASSERT_EQ(defaults->integer("n"), i);
    ASSERT_TRUE(defaults->set("own", i));
    ASSERT_EQ(defaults->integer("n"), i) << "a save between theirs keeps theirs";
  }
  inChild([] { EXPECT_TRUE(UserDefaults(".global").set("g", 1)); });
  EXPECT_EQ(defaults->integer("g"), 1);
}

TEST_F(UserDefaultsTest, EightThreadsInEachOfFourProcessesLoseNothing) {
  constexpr int PROCESSES = 4, THREADS = 8, SAVES = 25;
  std::vector<pid_t> children;
  for (int process = 0; process < PROCESSES; ++process)
    children.push_back(startChild([&] {
      std::vector<std::jthread> threads;
      for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&, name = std::to_string(process * THREADS + thread)] {
          for (int save = 0; save < SAVES; ++save) {
            const std::string key = name + "." + std::to_string(save);
            EXPECT_TRUE(defaults->set(key, save));
            EXPECT_EQ(defaults->integer(key), save);
            EXPECT_TRUE(defaults->set("last", key)) << "all compete for this one";
          }
        });
    }));
  for (const pid_t child : children) EXPECT_EQ(statusOf(child), 0);
  for (const auto& reader : {defaults, fresh()}) {
    EXPECT_EQ(reader->domainDictionary()->size(), 1U + PROCESSES * THREADS * SAVES);
    EXPECT_THAT(reader->string("last").value_or(""), EndsWith(".24"));
  }
  expectSoundFile();
}

TEST_F(UserDefaultsTest, SavesContinueInAProcessThatForksWhileItsThreadsSave) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's own allocator may be locked in the child of a process with threads";
#endif
  std::vector<std::jthread> threads;
  for (const char* key : {"thread a", "thread b", "thread c"})
    threads.emplace_back([this, key](const std::stop_token& stop) {
      for (int i = 0; !stop.stop_requested(); ++i) EXPECT_TRUE(defaults->set(key, i));
    });
  threads.emplace_back([](const std::stop_token& stop) {
    while (!stop.stop_requested()) UserDefaults::setShared(nullptr), UserDefaults::shared();
  });
  for (int i = 0; i < 30; ++i) {
    const std::string key = "child " + std::to_string(i);
    inChild([&] {
      alarm(30);  // ends a wait for a lock that will never be released
      UserDefaults::shared();
      EXPECT_TRUE(defaults->set(key, i));
      EXPECT_EQ(defaults->integer(key), i);
    });
    EXPECT_EQ(defaults->integer(key), i);
  }
  threads.clear();
  EXPECT_EQ(fresh()->domainDictionary()->size(), 33U);
  expectSoundFile();
}

TEST_F(UserDefaultsTest, TheFirstSavesOfForkedProcessesExcludeEachOther) {
  for (int round = 0; round < 10; ++round) {
    fs::remove_all(folder);
    EXPECT_EQ(defaults->value("a"), nullptr) << "opens what the children inherit";
    std::vector<pid_t> children;
    for (int i = 0; i < 6; ++i)
      children.push_back(startChild([&] { EXPECT_TRUE(defaults->set(std::to_string(i), i)); }));
    for (const pid_t child : children) EXPECT_EQ(statusOf(child), 0);
    EXPECT_EQ(defaults->domainDictionary()->size(), children.size());
  }
  EXPECT_THAT(namesIn(folder), Not(Contains(HasSubstr("damaged"))));
}

TEST_F(UserDefaultsTest, AKillDuringTheFirstSaveLeavesNothingHalfDone) {
  for (int round = 0; round < 30; ++round) {
    fs::remove_all(folder);
    killSoon(startChild([] { EXPECT_TRUE(fresh()->set("a", 1)); }));
    EXPECT_EQ(standardErrorOf([&] { EXPECT_TRUE(fresh()->set("b", 2)); }), "");
    EXPECT_EQ(fresh()->integer("b"), 2);
  }
}

TEST_F(UserDefaultsTest, EverySaveThatReturnedSurvivesAKill) {
  ASSERT_TRUE(defaults->set("first", true));
  void* const shared = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto& last = *new (shared) std::atomic<int>(0);  // the save that has returned
  const auto key = [](int save) { return "n" + std::to_string(save % 50); };
  for (int round = 0; round < 200; ++round) {
    const pid_t child = startChild([&] {
      const std::string filler(random() % 2000, 'x');
      for (int i = last + 1; defaults->apply({{key(i), i}, {"filler", filler}}); ++i) last = i;
    });
    ASSERT_EQ(WTERMSIG(killSoon(child)), SIGKILL);
    // The save after the last one that returned may have been done too, replacing the value of 50 saves before.
    for (const auto& reader : {defaults, fresh()})
      for (int i = std::max(1, last - 48); i <= last; ++i) ASSERT_EQ(reader->integer(key(i)), i);
  }
  EXPECT_GT(last, 50);
  expectSoundFile();
  EXPECT_THAT(namesIn(folder), Not(Contains(HasSubstr("damaged"))));
}

TEST_F(UserDefaultsTest, ADamagedFileIsReportedSetAsideAndReplaced) {
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"emptied", [&] { fs::resize_file(database, 0); }},
      {"cut in the header", [&] { fs::resize_file(database, 50); }},
      {"cut at half", [&] { fs::resize_file(database, fs::file_size(database) / 2); }},
      {"garbage", [&] { std::ofstream(database) << std::string(20'000, 'g'); }},
      {"garbage in the middle",
       [&] { std::fstream(database, std::ios::in | std::ios::out).seekp(4096) << std::string(3 * 4096, 'g'); }},
      {"another kind of database", [&] { sql("PRAGMA application_id = 0"); }}};
  const Value filler = std::string(500, 'x');
  for (const auto& [what, damage] : rows)
    for (const bool byReader : {true, false}) {
      SCOPED_TRACE(what);
      fs::remove_all(folder);
      defaults = fresh();
      for (int i = 0; i < 60; ++i) ASSERT_TRUE(defaults->set("k" + std::to_string(i), filler));
      defaults.reset();  // the last one that has it open writes it back into one file
      damage();
      const std::string damaged = contentOf(database);
      defaults = fresh();
      const std::string log = standardErrorOf([&] {
        EXPECT_TRUE(!byReader || !defaults->value("k1"));
        EXPECT_TRUE(defaults->set("new", 1));
        EXPECT_EQ(*defaults->domainDictionary(), (Value::Dictionary{{"new", 1}}));
      });
      const std::size_t begin = log.find(database + ".damaged-");
      ASSERT_NE(begin, std::string::npos) << log;
      EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;
      EXPECT_EQ(contentOf(log.substr(begin, log.find(',', begin) - begin)), damaged);
      EXPECT_EQ(*fresh()->domainDictionary(), (Value::Dictionary{{"new", 1}}));
      EXPECT_EQ(*UserDefaults::domains(), std::vector<std::string>{"a.b.App"});
    }
}

TEST_F(UserDefaultsTest, DamageUnderARunningProgramIsFoundByTheNextSave) {
  ASSERT_TRUE(defaults->set("a", 1));
  for (const char* end : {"", "-wal"}) std::ofstream(database + end) << std::string(20'000, 'g');
  inChild([] { EXPECT_THAT(standardErrorOf([] { fresh()->set("b", 2); }), HasSubstr(".damaged-")); });
  EXPECT_EQ(defaults->integer("b"), 2) << "the program that has the old file open switches to the new one";
  ASSERT_TRUE(defaults->set("c", 3));
  EXPECT_EQ(fresh()->domainDictionary()->size(), 2U);
}

TEST_F(UserDefaultsTest, ADamagedValueIsReportedAndTheOthersAreLoaded) {
  ASSERT_TRUE(defaults->apply({{"a", 1}, {"b", 2}}));
  defaults.reset();
  sql("UPDATE entries SET value = x'00' WHERE key = 'a'");
  EXPECT_THAT(standardErrorOf([] {
                EXPECT_EQ(*fresh()->domainDictionary(), (Value::Dictionary{{"b", 2}}));
              }),
              HasSubstr("the value of a is damaged"));
}

TEST_F(UserDefaultsTest, DeletedFilesMeanNoSettingsAndSavesGoToNewOnes) {
  const std::function<void()> rows[] = {[&] { fs::remove(database); }, [&] { fs::remove_all(folder); }};
  for (const auto& remove : rows) {
    ASSERT_TRUE(defaults->set("a", 1));
    const auto other = fresh();
    EXPECT_EQ(other->integer("a"), 1);
    remove();
    ASSERT_TRUE(defaults->set("b", 2));
    inChild([] { EXPECT_EQ(*fresh()->domainDictionary(), (Value::Dictionary{{"b", 2}})); });
    EXPECT_EQ(defaults->value("a"), nullptr);
    EXPECT_EQ(other->integer("b"), 2);
  }
}

TEST_F(UserDefaultsTest, ProcessesFindEachOtherAgainWhenTheCounterIsRemoved) {
  ASSERT_TRUE(defaults->set("a", 1));
  fs::remove(folder + "/a.b.App.changes");
  inChild([] { EXPECT_TRUE(fresh()->set("a", 2)); });
  EXPECT_TRUE(waitUntil([&] { return defaults->integer("a") == 2; }));
}

TEST_F(UserDefaultsTest, AReadDoesNotWaitForAWriteAndSeesItsEnd) {
  ASSERT_TRUE(defaults->set("a", 1));
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(database.c_str(), &writer), SQLITE_OK);
  sqlite3_exec(writer, "BEGIN IMMEDIATE; DELETE FROM entries", nullptr, nullptr, nullptr);
  const auto reader = fresh();
  EXPECT_EQ(reader->integer("a"), 1);
  sqlite3_exec(writer, "COMMIT", nullptr, nullptr, nullptr);
  EXPECT_EQ(reader->value("a"), nullptr);
  sqlite3_close(writer);
}

TEST_F(UserDefaultsTest, FilesShrinkWhenMuchIsRemoved) {
  ASSERT_TRUE(defaults->set("a", std::string(8'000'000, 'x')));
  ASSERT_TRUE(defaults->remove("a"));
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(defaults->set("b", std::string(2'000'000, 'x')));
  ASSERT_TRUE(defaults->remove("b"));
  EXPECT_LT(fs::file_size(database + "-wal"), 5'000'000U);
  defaults.reset();
  EXPECT_LT(fs::file_size(database), 100'000U);
}

TEST_F(UserDefaultsTest, WhatPermissionsForbidIsLeftAloneAndReadAsFarAsPossible) {
  ASSERT_TRUE(defaults->set("a", 1));
  defaults.reset();
  fs::permissions(home.path(), fs::perms(0755));
  const std::string command = "chown -R " + std::to_string(OrdinaryUser::NOBODY) + " " + (home / ".config");
  ASSERT_EQ(geteuid() == 0 ? std::system(command.c_str()) : 0, 0);
  for (const bool isReadable : {true, false}) {
    const OrdinaryUser user;
    fs::permissions(database, fs::perms(isReadable ? 0600 : 0000));
    fs::permissions(folder, fs::perms(isReadable ? 0500 : 0700));
    const auto reader = fresh();
    const std::string log = standardErrorOf([&] {
      EXPECT_EQ(reader->integer("a"), isReadable ? std::optional<std::int64_t>(1) : std::nullopt);
      for (int i = 0; i < 3; ++i) EXPECT_FALSE(reader->set("b", 2));
      EXPECT_EQ(reader->value("b"), nullptr) << "nothing is kept in memory only";
    });
    EXPECT_THAT(log, AllOf(HasSubstr(database), Not(HasSubstr("damaged"))));
    EXPECT_LE(std::ranges::count(log, '\n'), 3) << "the same failure is reported once\n" << log;
    fs::permissions(folder, fs::perms(0700));
    fs::permissions(database, fs::perms(0600));
    EXPECT_TRUE(reader->set("c", 3)) << "once the permissions are back";
    EXPECT_EQ(reader->integer("a"), 1);
  }
}

TEST_F(UserDefaultsTest, ThingsThatAreNotFilesAreLeftAlone) {
  const auto refusal = [] { return standardErrorOf([] { EXPECT_FALSE(fresh()->set("a", 1)); }); };
  fs::create_directories(folder);
  ASSERT_EQ(mkfifo(database.c_str(), 0600), 0);
  EXPECT_THAT(refusal(), HasSubstr(database + ": not a regular file"));
  fs::remove_all(folder);
  home.write(".config/corvane", "a file where the folder should be");
  EXPECT_THAT(refusal(), HasSubstr(folder + ": Not a directory"));
}

// A full disk, where the test may make one, and the same once there is room again.
TEST_F(UserDefaultsTest, AFullDiskRefusesSavesAndKeepsWhatIsStored) {
  fs::create_directories(folder);
  const bool isMounted = mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=256k") == 0;
  std::optional<FileSizeLimit> limit;
  if (!isMounted) limit.emplace(200'000);
  const Value filler = std::string(10'000, 'x');
  std::size_t stored = 0;
  Result<void> saved;
  while (stored < 100 && (saved = defaults->set("k" + std::to_string(stored), filler))) ++stored;
  ASSERT_FALSE(saved);
  EXPECT_GT(stored, 3U);
  EXPECT_THAT(saved.error().description, HasSubstr(database));
  EXPECT_EQ(defaults->domainDictionary()->size(), stored);
  limit.reset();
  EXPECT_TRUE(!isMounted || mount("tmpfs", folder.c_str(), "tmpfs", MS_REMOUNT, "size=10M") == 0);
  EXPECT_TRUE(defaults->set("after", filler));
  EXPECT_EQ(fresh()->domainDictionary()->size(), stored + 1);
  expectSoundFile();
  defaults.reset();
  EXPECT_TRUE(!isMounted || umount2(folder.c_str(), MNT_DETACH) == 0);
}

TEST_F(UserDefaultsTest, ChangedKeysAreBroadcastOnceObserved) {
  std::multiset<std::string> keys, heard;
  const auto listener = Listen(std::string(UserDefaults::DID_CHANGE), [&](auto, const std::any& object) {
    EXPECT_TRUE(IsMainQueue());
    keys.insert(std::any_cast<std::string>(object));
  });
  ASSERT_TRUE(defaults->apply({{"before", 1}, {"same", 1}}));
  auto handle = defaults->listen([&](std::string_view key) { heard.emplace(key); });
  std::thread([&] { ASSERT_TRUE(defaults->apply({{"same", 1}, {"own", 1}, {"absent", std::nullopt}})); }).join();
  EXPECT_THAT(keys, IsEmpty());
  EXPECT_TRUE(pumpUntil([&] { return keys.contains("own"); }));
  EXPECT_THAT(heard, ElementsAre("own"));
  handle.reset();
  defaults->observeChanges();  // again
  // From here on this process only reads, and not even that unprompted.
  inChild([] {
    EXPECT_TRUE(fresh()->apply({{"foreign", 1}, {"before", std::nullopt}}));
    EXPECT_TRUE(UserDefaults("some.other").set("other", 1));
    EXPECT_TRUE(UserDefaults(".global").set("global", 1));
  });
  EXPECT_TRUE(pumpUntil([&] { return keys.size() >= 4; }));
  EXPECT_THAT(keys, ElementsAre("before", "foreign", "global", "own"));
  EXPECT_EQ(heard.size(), 1U);
  defaults.reset();
  ASSERT_TRUE(fresh()->set("foreign", 2));
  pump();
  EXPECT_EQ(keys.size(), 4U) << "settings that are gone do not watch";
}

TEST(UserDefaultsFakeTest, AFailedReadKeepsTheKnownValuesAndIsTriedAgain) {
  const FakePlatform fake;
  UserDefaults defaults("a.b.App");
  ASSERT_TRUE(defaults.set("a", 1));
  fake.defaultsStore->changeFromOutside("a.b.App", {{"a", std::nullopt}});
  fake.defaultsStore->fail(Error{"fake", 1, "no answer"});
  EXPECT_THAT(standardErrorOf([&] {
                for (int i = 0; i < 2; ++i) EXPECT_EQ(defaults.integer("a"), 1);
                EXPECT_FALSE(defaults.domainDictionary());
                EXPECT_FALSE(defaults.set("a", 2));
              }),
              MatchesRegex(".*Settings of a.b.App: no answer\n.*Settings of .global: no answer\n"));
  fake.defaultsStore->fail(std::nullopt);
  EXPECT_TRUE(waitUntil([&] { return !defaults.value("a"); }));
  fake.defaultsStore->fail(Error{"fake", 1, "no answer"});
  EXPECT_EQ(standardErrorOf([&] { EXPECT_FALSE(defaults.set("a", 2)); }), "") << "a read has not ended the failure";
}

}  // namespace
}  // namespace corvane
