#include <sqlite3.h>

#include <memory>
#include <thread>

#include "bench/settings/Settings.h"
#include "corvane/infra/settings/DefaultSettings.h"

namespace {

using bench::settingName;
using bench::SETTINGS;

// The settings of a folder of their own, filled.
struct Filled {
  bench::ConfigurationFolder folder;
  corvane::DefaultSettings settings{std::make_shared<corvane::UserDefaults>("a.b.Bench")};

  Filled() {
    for (int i = 0; i < SETTINGS; ++i) settings.saveInteger(settingName(i), i);
    // In a program of one thread the standard library counts references without atomic operations.
    std::thread([] {}).join();
  }
};

void corvaneRead(benchmark::State& state) {
  const Filled filled;
  const std::string key = settingName(42);
  for (auto _ : state) benchmark::DoNotOptimize(filled.settings.loadInteger(key, 0));
  if (filled.settings.loadInteger(key, 0) != 42) state.SkipWithError("the value is missing");
}

void corvaneWrite(benchmark::State& state) {
  const Filled filled;
  const std::string key = settingName(42);
  std::int64_t value = 0;
  for (auto _ : state) filled.settings.saveInteger(key, ++value);
  if (corvane::UserDefaults("a.b.Bench").integer(key) != value) state.SkipWithError("the value is missing");
}

// The least that does the same: the database alone, with the same layout and durability.
class Bare {
 public:
  Bare() {
    sqlite3_open((m_folder.path() + "/bare.db").c_str(), &m_database);
    sqlite3_exec(m_database,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
                 "CREATE TABLE entries (key TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID",
                 nullptr, nullptr, nullptr);
    prepare("INSERT INTO entries VALUES (?1, ?2) ON CONFLICT DO UPDATE SET value = excluded.value", m_upsert);
    prepare("SELECT value FROM entries WHERE key = ?1", m_select);
    for (int i = 0; i < SETTINGS; ++i) write(settingName(i), i);
  }
  ~Bare() {
    sqlite3_finalize(m_upsert);
    sqlite3_finalize(m_select);
    sqlite3_close(m_database);
  }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;

  bool write(const std::string& key, std::int64_t value) {
    sqlite3_bind_text(m_upsert, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    sqlite3_bind_int64(m_upsert, 2, value);
    const bool done = sqlite3_step(m_upsert) == SQLITE_DONE;
    sqlite3_reset(m_upsert);
    return done;
  }

  std::int64_t read(const std::string& key) {
    sqlite3_bind_text(m_select, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    const std::int64_t value = sqlite3_step(m_select) == SQLITE_ROW ? sqlite3_column_int64(m_select, 0) : -1;
    sqlite3_reset(m_select);
    return value;
  }

 private:
  void prepare(const char* text, sqlite3_stmt*& statement) {
    sqlite3_prepare_v3(m_database, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  }

  const bench::TemporaryFolder m_folder;
  sqlite3* m_database = nullptr;
  sqlite3_stmt* m_upsert = nullptr;
  sqlite3_stmt* m_select = nullptr;
};

void bareRead(benchmark::State& state) {
  Bare bare;
  const std::string key = settingName(42);
  for (auto _ : state) benchmark::DoNotOptimize(bare.read(key));
  if (bare.read(key) != 42) state.SkipWithError("the value is missing");
}

void bareWrite(benchmark::State& state) {
  Bare bare;
  const std::string key = settingName(42);
  std::int64_t value = 0;
  for (auto _ : state)
    if (!bare.write(key, ++value)) state.SkipWithError("write");
}

CORVANE_BENCH_SETTINGS(corvaneRead, corvaneWrite, "Corvane DefaultSettings");
CORVANE_BENCH_SETTINGS(bareRead, bareWrite, "SQLite WAL");

}  // namespace
