#include "corvane/linux/store/DefaultsDatabase.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>

#include "corvane/linux/GLibSupport.h"

namespace corvane::defaults_files {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int APPLICATION_ID = 0x43525653;  // "CRVS": identifies our databases
constexpr int LAYOUT = 1;                   // the layout of the tables that this code knows
constexpr std::chrono::milliseconds READERS_PATIENCE(2);

}  // namespace

bool isDamage(const Error& error) {
  return error.domain == "sqlite" && ((error.code & 0xff) == SQLITE_CORRUPT || (error.code & 0xff) == SQLITE_NOTADB);
}

Result<std::unique_ptr<DefaultsDatabase>> DefaultsDatabase::open(const std::string& path, bool create) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    if (errno != ENOENT || !create) return fileFailure(path, errno);
    if (auto made = make(path); !made || stat(path.c_str(), &status) != 0)
      return made ? fileFailure(path, errno) : passedOn(made.error());
  }
  if (!S_ISREG(status.st_mode)) return failure("defaults", 0, path + ": not a regular file");
  if (status.st_size == 0) return failure("sqlite", SQLITE_NOTADB, path + ": empty");  // none is created empty
  keepPrivate(path);
  if (eaccess(path.c_str(), R_OK) != 0) return fileFailure(path, errno);

  if (eaccess(path.c_str(), W_OK) == 0) {
    auto connection = openAs(path, path, SQLITE_OPEN_READWRITE);
    const bool isFinal = connection || isDamage(connection.error());
    if (isFinal || eaccess(fs::path(path).parent_path().c_str(), W_OK) == 0) return connection;
  }
  // Read-only. Otherwise SQLite would create the files that it shares with other processes, with permissions that later
  // keep this user from writing.
  const glib::Ptr<gchar> uri(g_filename_to_uri(path.c_str(), nullptr, nullptr));
  if (!uri) return failure("defaults", 0, path + ": the name cannot be opened");
  const char* how = Identity::at(path + "-wal") ? "?readonly_shm=1" : "?immutable=1";
  return openAs(path, uri.get() + std::string(how), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
}

void DefaultsDatabase::closeQuickly() {
  sqlite3_db_config(m_database.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

Result<DefaultsContents> DefaultsDatabase::read(const ChangeCounter* counter) {
  // Holding the writers' lock means that any writer that announced a change has committed it or has died. While a slow
  // writer holds it, the previously committed state is read, with a generation that makes the next reader read again.
  bool isFinal = true;
  Transaction transaction(*this);
  if (isReadOnly()) {
    if (auto begun = transaction.begin(m_beginRead); !begun) return passedOn(begun.error());
  } else {
    m_patience = READERS_PATIENCE;
    auto begun = transaction.begin(m_begin);
    m_patience = LIMIT;
    isFinal = begun.has_value();
    if (!begun && (begun.error().code & 0xff) == SQLITE_BUSY) begun = transaction.begin(m_beginRead);
    if (!begun) return passedOn(begun.error());
  }
  DefaultsContents contents;
  if (counter) contents.generation = isFinal ? counter->get() : ~counter->get();
  const Cursor cursor(m_select);
  int code = SQLITE_OK;
  while ((code = sqlite3_step(m_select.get())) == SQLITE_ROW)
    contents.entries.emplace_back(column(m_select, 0), column(m_select, 1));
  if (code != SQLITE_DONE) return failed(code);
  return contents;
}

Result<DefaultsWritten> DefaultsDatabase::write(const std::vector<DefaultsChange>& changes, ChangeCounter& counter,
                                                std::atomic<std::uint64_t>& inFlight) {
  if (!counter.isWritable() || isReadOnly())
    return failure("defaults", EROFS, m_path + ": the file or its folder is read-only");
  // Announced while the writers' lock is held, just before the commit. A hook, because then a single change needs no
  // explicit transaction.
  struct Announcement {
    ChangeCounter& counter;
    std::atomic<std::uint64_t>& inFlight;
    DefaultsWritten written{};
    Result<void> done{};

    static int make(void* self) {
      auto& [counter, inFlight, written, done] = *static_cast<Announcement*>(self);
      written = {counter.get(), counter.next()};
      inFlight.store(written.after, std::memory_order_release);
      done = counter.set(written.after);
      return done ? 0 : 1;
    }
  } announcement{counter, inFlight};
  sqlite3_commit_hook(m_database.get(), Announcement::make, &announcement);
  const Result<void> committed = commit(changes);
  sqlite3_commit_hook(m_database.get(), nullptr, nullptr);
  inFlight.store(0, std::memory_order_release);
  if (!announcement.done) return passedOn(announcement.done.error());
  if (!committed) return passedOn(committed.error());
  return announcement.written;
}

Result<void> DefaultsDatabase::commit(const std::vector<DefaultsChange>& changes) {
  if (changes.size() == 1) return apply(changes.front());
  Transaction transaction(*this);
  if (auto begun = transaction.begin(m_begin); !begun) return begun;
  for (const DefaultsChange& change : changes)
    if (auto applied = apply(change); !applied) return applied;
  return transaction.commit();
}

Result<void> DefaultsDatabase::apply(const DefaultsChange& change) {
  const Statement& statement = change.value ? m_upsert : m_remove;
  const Cursor cursor(statement);
  sqlite3_bind_text64(statement.get(), 1, change.key.data(), change.key.size(), SQLITE_STATIC, SQLITE_UTF8);
  if (change.value) sqlite3_bind_blob64(statement.get(), 2, change.value->data(), change.value->size(), SQLITE_STATIC);
  if (const int code = sqlite3_step(statement.get()); code != SQLITE_DONE) return failed(code);
  return {};
}

Result<std::unique_ptr<DefaultsDatabase>> DefaultsDatabase::openAs(const std::string& path, const std::string& name,
                                                                   int flags) {
  std::unique_ptr<DefaultsDatabase> connection(new DefaultsDatabase(path));
  auto ready = connection->attach(name, flags).and_then([&] { return connection->check(); }).and_then([&] {
    return connection->prepareAll();
  });
  if (!ready) return passedOn(ready.error());
  return connection;
}

Result<void> DefaultsDatabase::make(const std::string& path) {
  const std::string unfinished = path + ".new";
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) unlink((unfinished + suffix).c_str());
  // Created here, because SQLite would let other users read it.
  if (FileDescriptor(uninterrupted([&] {
        return ::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      })).get() < 0)
    return fileFailure(path, errno);
  auto made = [&] {
    DefaultsDatabase connection(unfinished);
    return connection.attach(unfinished, SQLITE_OPEN_READWRITE).and_then([&] { return connection.fill(); });
  }();
  // Leftovers of an earlier database with this name belong to that one.
  for (const char* suffix : {"-wal", "-shm"}) unlink((path + suffix).c_str());
  if (made && ::rename(unfinished.c_str(), path.c_str()) != 0) made = fileFailure(path, errno);
  if (!made) unlink(unfinished.c_str());
  return made;
}

Result<void> DefaultsDatabase::attach(const std::string& name, int flags) {
  sqlite3* database = nullptr;
  const int code = sqlite3_open_v2(name.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  m_database.reset(database);
  if (code != SQLITE_OK) return failed(code);
  sqlite3_extended_result_codes(database, 1);
  sqlite3_busy_handler(database, waitForOthers, this);
  return {};
}

Result<void> DefaultsDatabase::fill() {
  return execute(
      "PRAGMA auto_vacuum=FULL; PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; BEGIN IMMEDIATE;"
      "CREATE TABLE entries (key TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;"
      "PRAGMA application_id=" +
      std::to_string(APPLICATION_ID) + "; PRAGMA user_version=" + std::to_string(LAYOUT) + "; COMMIT");
}

Result<void> DefaultsDatabase::check() {
  const auto application = query("PRAGMA application_id");
  if (!application) return passedOn(application.error());
  if (*application != std::to_string(APPLICATION_ID))
    return failure("sqlite", SQLITE_NOTADB, m_path + ": a database of another kind");
  const auto layout = query("PRAGMA user_version");
  if (!layout) return passedOn(layout.error());
  if (*layout != std::to_string(LAYOUT))
    return failure("defaults", 0, m_path + ": written by another version of this library (layout " + *layout + ")");
  // Settings are small, and checking all of them takes less than a millisecond.
  auto sound = query("PRAGMA quick_check(1)");
  if (!sound) return passedOn(sound.error());
  std::ranges::replace(*sound, '\n', ' ');
  if (*sound != "ok") return failure("sqlite", SQLITE_CORRUPT, m_path + ": " + *sound);
  // Once it has been written back, the log shrinks to about the size at which that happens, and no further: to allocate
  // its room anew would make each write slower.
  return execute("PRAGMA synchronous=NORMAL; PRAGMA journal_size_limit=4194304");
}

Result<void> DefaultsDatabase::prepareAll() {
  const std::pair<Statement*, const char*> rows[] = {
      {&m_begin, "BEGIN IMMEDIATE"},
      {&m_beginRead, "BEGIN"},
      {&m_commit, "COMMIT"},
      {&m_rollback, "ROLLBACK"},
      {&m_select, "SELECT key, value FROM entries"},
      {&m_upsert, "INSERT INTO entries VALUES (?1, ?2) ON CONFLICT DO UPDATE SET value = excluded.value"},
      {&m_remove, "DELETE FROM entries WHERE key = ?1"},
  };
  for (const auto& [statement, text] : rows)
    if (auto prepared = prepare(text, *statement); !prepared) return prepared;
  return {};
}

Result<void> DefaultsDatabase::prepare(const char* text, Statement& statement) {
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v3(m_database.get(), text, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
  statement.reset(prepared);
  if (code != SQLITE_OK) return failed(code);
  return {};
}

Result<void> DefaultsDatabase::execute(const std::string& text) {
  const int code = sqlite3_exec(m_database.get(), text.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) return failed(code);
  return {};
}

Result<void> DefaultsDatabase::run(const Statement& statement) {
  const Cursor cursor(statement);
  if (const int code = sqlite3_step(statement.get()); code != SQLITE_DONE) return failed(code);
  return {};
}

Result<std::string> DefaultsDatabase::query(const char* text) {
  Statement statement;
  if (auto prepared = prepare(text, statement); !prepared) return passedOn(prepared.error());
  if (const int code = sqlite3_step(statement.get()); code != SQLITE_ROW) return failed(code);
  return column(statement, 0);
}

std::string DefaultsDatabase::column(const Statement& statement, int number) {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement.get(), number));
  return bytes ? std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), number))) : "";
}

tl::unexpected<Error> DefaultsDatabase::failed(int code) const {
  std::string text = m_path + ": " + (m_database ? sqlite3_errmsg(m_database.get()) : sqlite3_errstr(code));
  const int cause = m_database ? sqlite3_system_errno(m_database.get()) : 0;
  if (cause != 0 && ((code & 0xff) == SQLITE_IOERR || (code & 0xff) == SQLITE_CANTOPEN))
    text.append(" (").append(std::strerror(cause)).append(")");
  return failure("sqlite", code, std::move(text));
}

int DefaultsDatabase::waitForOthers(void* self, int count) {
  auto& connection = *static_cast<DefaultsDatabase*>(self);
  const auto now = Clock::now();
  if (count == 0) connection.m_waitEnd = now + connection.m_patience;
  std::this_thread::sleep_for(PAUSE);
  return now < connection.m_waitEnd ? 1 : 0;
}

}  // namespace corvane::defaults_files
