#include "corvane/platform/DefaultsStore.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <glib-unix.h>
#include <pthread.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>
#include <thread>

#include "corvane/core/Files.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/Text.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds LIMIT(5);  // how long one call waits for other processes
constexpr std::chrono::microseconds PAUSE(500);
constexpr std::string_view DATABASE = ".db";
constexpr std::string_view CHANGES = ".changes";
constexpr int APPLICATION_ID = 0x43525653;  // "CRVS": tells our databases from others
constexpr int LAYOUT = 1;                   // the layout of the tables that this code knows

tl::unexpected<Error> passedOn(const Error& error) {
  return tl::unexpected<Error>(error);
}

// Which file stands at a path; none if there is no file.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;

  static std::optional<Identity> at(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return Identity{status.st_dev, status.st_ino};
  }

  bool operator==(const Identity&) const = default;
};

// Takes others' rights away from a file of ours. What cannot be changed stays.
void keepPrivate(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && status.st_uid == geteuid() && (status.st_mode & 077) != 0) [[maybe_unused]]
    const int code = chmod(path.c_str(), status.st_mode & 0700);
}

// Makes a folder of mode 0700, and those that lead to it.
Result<void> makeFolder(const std::string& path) {
  const auto make = [&path] { return mkdir(path.c_str(), 0700) == 0 ? 0 : errno; };
  int code = make();
  if (code == ENOENT) {
    if (auto made = makeFolder(fs::path(path).parent_path()); !made) return made;
    code = make();
  }
  std::error_code ignored;
  if (code == 0 || fs::is_directory(path, ignored)) return {};
  return fileFailure(path, code == EEXIST ? ENOTDIR : code);
}

// File names

bool standsForItself(char c, bool first) {
  return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f && c != '/' && c != '%' && !(first && c == '.');
}

std::string fileNameOf(const std::string& domain) {
  std::string name;
  for (const char c : domain) {
    if (standsForItself(c, name.empty()))
      name += c;
    else
      appendPercentEscape(name, c);
  }
  return name;
}

// The domain of a file name; none if no domain has that name.
std::optional<std::string> domainOf(std::string_view name) {
  std::string domain;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] != '%') {
      domain += name[i];
      continue;
    }
    if (i + 2 >= name.size()) return std::nullopt;
    const int high = g_ascii_xdigit_value(name[i + 1]);
    const int low = g_ascii_xdigit_value(name[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    domain += static_cast<char>(high * 16 + low);
    i += 2;
  }
  if (domain.empty() || fileNameOf(domain) != name) return std::nullopt;
  return domain;
}

Result<std::string> settingsFolder() {
  if (const char* path = std::getenv("XDG_CONFIG_HOME"); path && path[0] == '/') return path + std::string("/corvane");
  return platform().folders().home().map([](const std::string& home) { return home + "/.config/corvane"; });
}

// SQLite

bool isDamage(const Error& error) {
  return error.domain == "sqlite" && ((error.code & 0xff) == SQLITE_CORRUPT || (error.code & 0xff) == SQLITE_NOTADB);
}

// The generation of a domain in its file, and the lock under which databases are opened and set aside.
class Counter {
 public:
  // Opens or makes the file; only to read where more is not allowed.
  static Result<std::unique_ptr<Counter>> open(const std::string& path) {
    FileDescriptor file(
        uninterrupted([&] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600); }));
    const bool writable = file.get() >= 0;
    if (!writable && (errno == EACCES || errno == EROFS || errno == EPERM))
      file = FileDescriptor(uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0) return fileFailure(path, errno);
    if (!S_ISREG(status.st_mode)) return failure("defaults", 0, path + ": not a regular file");

    auto counter = std::unique_ptr<Counter>(new Counter(path, std::move(file), writable));
    if (writable) {
      keepPrivate(path);
      // A file begins with the time, so that the numbers of a file that was deleted do not come back.
      Lock lock(*counter);
      if (!lock.isHeld()) return failure("defaults", 0, path + ": locked by another process for 5 s");
      if (fstat(counter->m_file.get(), &status) != 0) return fileFailure(path, errno);
      if (status.st_size < off_t{sizeof(std::uint64_t)})
        if (auto begun =
                counter->set(static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()));
            !begun)
          return passedOn(begun.error());
    } else if (status.st_size < off_t{sizeof(std::uint64_t)}) {
      return failure("defaults", 0, path + ": empty");  // mapped, it would stop the process at the first look
    }
    void* mapped = mmap(nullptr, sizeof(std::uint64_t), PROT_READ, MAP_SHARED, counter->m_file.get(), 0);
    if (mapped == MAP_FAILED) return fileFailure(path, errno);
    counter->m_value = static_cast<const std::uint64_t*>(mapped);
    return counter;
  }

  ~Counter() {
    if (m_value) munmap(const_cast<std::uint64_t*>(m_value), sizeof *m_value);
  }

  // The number, for as long as the Counter.
  const std::uint64_t* value() const { return m_value; }
  std::uint64_t get() const { return __atomic_load_n(m_value, __ATOMIC_ACQUIRE); }
  std::uint64_t next() const { return get() + 1 == 0 ? 1 : get() + 1; }
  bool isWritable() const { return m_writable; }
  bool isAt(const std::string& path) const { return Identity::at(path) == m_identity; }

  // With a write and not through memory: a full disk is an error and no signal, and watchers of the file hear of it.
  Result<void> set(std::uint64_t number) {
    const ssize_t written = uninterrupted([&] { return pwrite(m_file.get(), &number, sizeof number, 0); });
    if (written == ssize_t{sizeof number}) return {};
    return fileFailure(m_path, written < 0 ? errno : ENOSPC);
  }

  // Tells whoever still looks at the file that it is out of date, and closes it. The number stays where it is.
  void retire() {
    if (m_writable) [[maybe_unused]]
      const auto ignored = set(next());
    m_file = FileDescriptor();
  }

  // Keeps other processes that want it waiting.
  class Lock {
   public:
    explicit Lock(const Counter& counter) : m_descriptor(counter.m_file.get()) {
      const auto end = Clock::now() + LIMIT;
      while (!(m_held = flock(m_descriptor, LOCK_EX | LOCK_NB) == 0) && (errno == EWOULDBLOCK || errno == EINTR) &&
             Clock::now() < end)
        std::this_thread::sleep_for(PAUSE);
    }
    ~Lock() {
      if (m_held) flock(m_descriptor, LOCK_UN);
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    bool isHeld() const { return m_held; }

   private:
    const int m_descriptor;
    bool m_held = false;
  };

 private:
  Counter(std::string path, FileDescriptor file, bool writable)
      : m_path(std::move(path)), m_file(std::move(file)), m_identity(Identity::at(m_path)), m_writable(writable) {}

  const std::string m_path;
  FileDescriptor m_file;
  const std::optional<Identity> m_identity;
  const bool m_writable;
  const std::uint64_t* m_value = nullptr;
};

// An open database.
class Connection {
 public:
  // With the counter's lock held, if the file may be written.
  static Result<std::unique_ptr<Connection>> open(const std::string& path, bool create) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
      if (errno != ENOENT || !create) return fileFailure(path, errno);
      if (auto made = make(path); !made || stat(path.c_str(), &status) != 0)
        return made ? fileFailure(path, errno) : passedOn(made.error());
    }
    if (!S_ISREG(status.st_mode)) return failure("defaults", 0, path + ": not a regular file");
    if (status.st_size == 0) return failure("sqlite", SQLITE_NOTADB, path + ": empty");  // none is made so
    keepPrivate(path);
    if (eaccess(path.c_str(), R_OK) != 0) return fileFailure(path, errno);

    if (eaccess(path.c_str(), W_OK) == 0) {
      auto connection = openAs(path, path, SQLITE_OPEN_READWRITE);
      const bool isFinal = connection || isDamage(connection.error());
      if (isFinal || eaccess(fs::path(path).parent_path().c_str(), W_OK) == 0) return connection;
    }
    // To be read only. Left alone, SQLite would make the files that it shares with others, and with rights that later
    // keep this user from writing.
    const glib::Ptr<gchar> uri(g_filename_to_uri(path.c_str(), nullptr, nullptr));
    if (!uri) return failure("defaults", 0, path + ": not a name that can be opened");
    const char* how = Identity::at(path + "-wal") ? "?readonly_shm=1" : "?immutable=1";
    return openAs(path, uri.get() + std::string(how), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  }

  bool isReadOnly() const { return sqlite3_db_readonly(m_database.get(), "main") != 0; }

  bool isAtItsPath() const { return Identity::at(m_path) == m_identity; }
  std::optional<Identity> identity() const { return m_identity; }

  // Leaves what has been written in the files for others, rather than tidying up: fast, and nothing else is touched.
  void closeQuickly() { sqlite3_db_config(m_database.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr); }

  // All entries, and the generation that goes with them. Taking the lock of writers means that whoever announced a
  // change has committed it, or has died.
  Result<DefaultsContents> read(const Counter* counter) {
    Transaction transaction(*this, isReadOnly() ? m_beginRead : m_begin);
    if (auto begun = transaction.begin(); !begun) return passedOn(begun.error());
    DefaultsContents contents;
    if (counter) contents.generation = counter->get();
    const Cursor cursor(m_select);
    int code = SQLITE_OK;
    while ((code = sqlite3_step(m_select.get())) == SQLITE_ROW)
      contents.entries.emplace_back(column(m_select, 0), column(m_select, 1));
    if (code != SQLITE_DONE) return failed(code);
    return contents;
  }

  // The number goes up before the commit: a process that is killed in between has announced a change too many, which
  // costs others a look, and never one too few.
  Result<DefaultsWritten> write(const std::vector<DefaultsChange>& changes, Counter& counter,
                                std::atomic<std::uint64_t>& inFlight) {
    if (!counter.isWritable() || isReadOnly())
      return failure("defaults", EROFS, m_path + ": the file or its folder may only be read");
    Transaction transaction(*this, m_begin);
    if (auto begun = transaction.begin(); !begun) return passedOn(begun.error());
    for (const DefaultsChange& change : changes) {
      const Statement& statement = change.value ? m_upsert : m_remove;
      const Cursor cursor(statement);
      sqlite3_bind_text64(statement.get(), 1, change.key.data(), change.key.size(), SQLITE_STATIC, SQLITE_UTF8);
      if (change.value)
        sqlite3_bind_blob64(statement.get(), 2, change.value->data(), change.value->size(), SQLITE_STATIC);
      if (const int code = sqlite3_step(statement.get()); code != SQLITE_DONE) return failed(code);
    }
    const DefaultsWritten written{counter.get(), counter.next()};
    inFlight.store(written.after, std::memory_order_release);
    auto done = counter.set(written.after).and_then([&] { return transaction.commit(); });
    inFlight.store(0, std::memory_order_release);
    if (!done) return passedOn(done.error());
    return written;
  }

 private:
  struct Release {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Release>;

  // Ends a statement's use at the end of the scope.
  class Cursor {
   public:
    explicit Cursor(const Statement& statement) : m_statement(statement.get()) {}
    ~Cursor() {
      sqlite3_reset(m_statement);
      sqlite3_clear_bindings(m_statement);
    }
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;

   private:
    sqlite3_stmt* m_statement;
  };

  // Rolled back unless committed.
  class Transaction {
   public:
    Transaction(Connection& connection, const Statement& begin) : m_connection(connection), m_begin(begin) {}
    ~Transaction() {
      if (sqlite3_get_autocommit(m_connection.m_database.get()) == 0) [[maybe_unused]]
        const auto ignored = m_connection.run(m_connection.m_rollback);
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    Result<void> begin() { return m_connection.run(m_begin); }
    Result<void> commit() { return m_connection.run(m_connection.m_commit); }

   private:
    Connection& m_connection;
    const Statement& m_begin;
  };

  explicit Connection(std::string path) : m_path(std::move(path)), m_identity(Identity::at(m_path)) {}

  static Result<std::unique_ptr<Connection>> openAs(const std::string& path, const std::string& name, int flags) {
    std::unique_ptr<Connection> connection(new Connection(path));
    auto ready = connection->attach(name, flags).and_then([&] { return connection->check(); }).and_then([&] {
      return connection->prepareAll();
    });
    if (!ready) return passedOn(ready.error());
    return connection;
  }

  // Makes a new database under another name, whole, so that none is ever seen half made.
  static Result<void> make(const std::string& path) {
    const std::string unfinished = path + ".new";
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) unlink((unfinished + suffix).c_str());
    // Made here, because SQLite would let others read it.
    if (FileDescriptor(uninterrupted([&] {
          return ::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        })).get() < 0)
      return fileFailure(path, errno);
    auto made = [&] {
      Connection connection(unfinished);
      return connection.attach(unfinished, SQLITE_OPEN_READWRITE).and_then([&] { return connection.fill(); });
    }();
    if (made && ::rename(unfinished.c_str(), path.c_str()) != 0) made = fileFailure(path, errno);
    if (!made) unlink(unfinished.c_str());
    return made;
  }

  Result<void> attach(const std::string& name, int flags) {
    sqlite3* database = nullptr;
    const int code = sqlite3_open_v2(name.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    m_database.reset(database);
    if (code != SQLITE_OK) return failed(code);
    sqlite3_extended_result_codes(database, 1);
    sqlite3_busy_handler(database, waitForOthers, this);
    return {};
  }

  Result<void> fill() {
    return execute(
        "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; BEGIN IMMEDIATE;"
        "CREATE TABLE entries (key TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;"
        "PRAGMA application_id=" +
        std::to_string(APPLICATION_ID) + "; PRAGMA user_version=" + std::to_string(LAYOUT) + "; COMMIT");
  }

  Result<void> check() {
    const auto application = query("PRAGMA application_id");
    if (!application) return passedOn(application.error());
    if (*application != std::to_string(APPLICATION_ID))
      return failure("sqlite", SQLITE_NOTADB, m_path + ": a database of another kind");
    const auto layout = query("PRAGMA user_version");
    if (!layout) return passedOn(layout.error());
    if (*layout != std::to_string(LAYOUT))
      return failure("defaults", 0, m_path + ": written by another version of this library (layout " + *layout + ")");
    // Settings are small, and looking all over them takes less than a millisecond.
    auto sound = query("PRAGMA quick_check(1)");
    if (!sound) return passedOn(sound.error());
    std::ranges::replace(*sound, '\n', ' ');
    if (*sound != "ok") return failure("sqlite", SQLITE_CORRUPT, m_path + ": " + *sound);
    return execute("PRAGMA synchronous=NORMAL");
  }

  Result<void> prepareAll() {
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

  Result<void> prepare(const char* text, Statement& statement) {
    sqlite3_stmt* prepared = nullptr;
    const int code = sqlite3_prepare_v3(m_database.get(), text, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
    statement.reset(prepared);
    if (code != SQLITE_OK) return failed(code);
    return {};
  }

  Result<void> execute(const std::string& text) {
    const int code = sqlite3_exec(m_database.get(), text.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) return failed(code);
    return {};
  }

  Result<void> run(const Statement& statement) {
    const Cursor cursor(statement);
    if (const int code = sqlite3_step(statement.get()); code != SQLITE_DONE) return failed(code);
    return {};
  }

  // The first column of the first row, as text.
  Result<std::string> query(const char* text) {
    Statement statement;
    if (auto prepared = prepare(text, statement); !prepared) return passedOn(prepared.error());
    if (const int code = sqlite3_step(statement.get()); code != SQLITE_ROW) return failed(code);
    return column(statement, 0);
  }

  static std::string column(const Statement& statement, int number) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement.get(), number));
    return bytes ? std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), number))) : "";
  }

  tl::unexpected<Error> failed(int code) const {
    std::string text = m_path + ": " + (m_database ? sqlite3_errmsg(m_database.get()) : sqlite3_errstr(code));
    const int cause = m_database ? sqlite3_system_errno(m_database.get()) : 0;
    if (cause != 0 && ((code & 0xff) == SQLITE_IOERR || (code & 0xff) == SQLITE_CANTOPEN))
      text.append(" (").append(std::strerror(cause)).append(")");
    return failure("sqlite", code, std::move(text));
  }

  static int waitForOthers(void* self, int count) {
    auto& connection = *static_cast<Connection*>(self);
    const auto now = Clock::now();
    if (count == 0) connection.m_waitEnd = now + LIMIT;
    std::this_thread::sleep_for(PAUSE);
    return now < connection.m_waitEnd ? 1 : 0;
  }

  const std::string m_path;
  const std::optional<Identity> m_identity;
  Clock::time_point m_waitEnd;
  std::unique_ptr<sqlite3, Release> m_database;
  Statement m_begin, m_beginRead, m_commit, m_rollback, m_select, m_upsert, m_remove;  // end before the database
};

// The lock of all domains, and those whose database may be open. Never destroyed.
class LinuxDomain;
struct Storage {
  Mutex mutex;
  std::vector<LinuxDomain*> domains CORVANE_GUARDED_BY(mutex);
};

Storage& storage() {
  static auto& storage = *new Storage;
  return storage;
}

class LinuxDomain : public DefaultsDomain {
 public:
  explicit LinuxDomain(std::string name) : m_name(std::move(name)) {
    MutexLock lock(storage().mutex);
    storage().domains.push_back(this);
  }

  ~LinuxDomain() override {
    MutexLock lock(storage().mutex);
    std::erase(storage().domains, this);
  }

  std::uint64_t generation() const noexcept override {
    const std::uint64_t* value = m_generation.load(std::memory_order_acquire);
    if (!value) return 0;
    const std::uint64_t announced = __atomic_load_n(value, __ATOMIC_ACQUIRE);
    // Announced by this process, which has not committed it yet.
    return announced == m_inFlight.load(std::memory_order_acquire) ? announced - 1 : announced;
  }

  Result<DefaultsContents> read() override {
    MutexLock lock(storage().mutex);
    // Where no counter may be made, there may be a database all the same.
    if (const auto placed = place(); !placed && !(placed.error().domain == "posix" && isClosed(placed.error().code)))
      return passedOn(placed.error());
    DefaultsContents contents;
    contents.generation = generation();  // before the look for the file, which may appear now
    struct stat status {};
    if (lstat(database().c_str(), &status) != 0) {
      if (errno != ENOENT) return fileFailure(database(), errno);
      m_connection.reset();
      return contents;
    }
    for (bool again = true;; again = false) {
      const auto open = connect(false);
      Result<DefaultsContents> found = open ? (*open)->read(m_counter.get()) : passedOn(open.error());
      // Opened as one that nobody changes, it would not show what the owner does later.
      if (!found || (*open)->isReadOnly()) m_connection.reset();
      if (found || !again || !isDamage(found.error())) return found;
      const auto aside = setAside(found.error());
      if (!aside) return passedOn(aside.error());
      contents.generation = generation();
      if (*aside) return contents;
    }
  }

  Result<DefaultsWritten> write(const std::vector<DefaultsChange>& changes) override {
    MutexLock lock(storage().mutex);
    for (bool again = true;; again = false) {
      const auto open = reach();
      Result<DefaultsWritten> written = open ? (*open)->write(changes, *m_counter, m_inFlight) : passedOn(open.error());
      if (written) return written;
      if (m_connection) m_connection->closeQuickly();
      m_connection.reset();
      if (!again || !isDamage(written.error())) return written;
      if (const auto aside = setAside(written.error()); !aside) return passedOn(aside.error());
    }
  }

  std::string takeNotice() override {
    MutexLock lock(storage().mutex);
    return std::exchange(m_notice, {});
  }

  void closeForFork() CORVANE_REQUIRES(storage().mutex) {
    if (m_connection) m_connection->closeQuickly();
    m_connection.reset();
  }

 private:
  std::string database() const CORVANE_REQUIRES(storage().mutex) { return m_file + std::string(DATABASE); }

  static bool isClosed(int code) { return code == EACCES || code == EPERM || code == EROFS || code == ENOENT; }

  // Finds the files, and the counter that is there now.
  Result<void> place() CORVANE_REQUIRES(storage().mutex) {
    const auto folder = settingsFolder();
    if (!folder) return passedOn(folder.error());
    const std::string name = fileNameOf(m_name);
    if (name.empty() || name.size() > 200) return failure("defaults", 0, "No domain can be named \"" + m_name + "\"");
    m_file = *folder + "/" + name;
    const std::string path = m_file + std::string(CHANGES);
    if (m_counter && m_counter->isAt(path) && (m_counter->isWritable() || eaccess(path.c_str(), W_OK) != 0)) return {};
    if (auto made = makeFolder(*folder); !made) return made;
    keepPrivate(*folder);
    auto opened = Counter::open(path);
    if (!opened) return passedOn(opened.error());
    m_generation.store((*opened)->value(), std::memory_order_release);
    if (m_counter) {
      // Others may still look at the file that is gone, and so may a thread of ours, now.
      m_counter->retire();
      m_retired.push_back(std::move(m_counter));
    }
    m_counter = std::move(*opened);
    return {};
  }

  // What is there now, for writing. The usual case takes one look at the disk.
  Result<Connection*> reach() CORVANE_REQUIRES(storage().mutex) {
    if (m_counter && m_connection && m_connection->isAtItsPath()) return m_connection.get();
    if (auto placed = place(); !placed) return passedOn(placed.error());
    return connect(true);
  }

  // The database that is at the path now, opened and found sound.
  Result<Connection*> connect(bool create) CORVANE_REQUIRES(storage().mutex) {
    if (m_connection && m_connection->isAtItsPath()) return m_connection.get();
    m_connection.reset();
    std::optional<Counter::Lock> lock;
    if (m_counter && m_counter->isWritable() && !lock.emplace(*m_counter).isHeld())
      return failure("defaults", 0, database() + ": locked by another process for 5 s");
    auto opened = Connection::open(database(), create);
    if (!opened) return passedOn(opened.error());
    m_connection = std::move(*opened);
    return m_connection.get();
  }

  // Renames a damaged database; false if another process has done so already.
  Result<bool> setAside(const Error& reason) CORVANE_REQUIRES(storage().mutex) {
    const std::string path = database();
    const auto refused = [&](const std::string& why) {
      return failure("defaults", 0, reason.description + "; it cannot be set aside: " + why);
    };
    if (!m_counter || !m_counter->isWritable()) return refused("its folder may only be read");
    const Counter::Lock lock(*m_counter);
    if (!lock.isHeld()) return refused("locked by another process for 5 s");
    if (auto repaired = Connection::open(path, false); repaired || !isDamage(repaired.error())) return false;

    std::array<char, 32> time{};
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    std::strftime(time.data(), time.size(), ".damaged-%Y%m%d-%H%M%S", gmtime_r(&now, &utc));
    std::string kept = path + time.data();
    for (int number = 2; Identity::at(kept); ++number) kept = path + time.data() + "-" + std::to_string(number);
    if (::rename(path.c_str(), kept.c_str()) != 0) return refused(std::strerror(errno));
    // The log goes along. What processes share goes: those that have it open keep it, the new database needs its own.
    ::rename((path + "-wal").c_str(), (kept + "-wal").c_str());
    ::unlink((path + "-shm").c_str());
    if (auto told = m_counter->set(m_counter->next()); !told) return passedOn(told.error());
    m_notice =
        "Settings are damaged: " + reason.description + "; the file is kept as " + kept + ", and settings start anew";
    return true;
  }

  const std::string m_name;
  std::atomic<const std::uint64_t*> m_generation = nullptr;  // in the counter
  std::atomic<std::uint64_t> m_inFlight = 0;                 // the number that a write of ours has announced
  std::string m_file CORVANE_GUARDED_BY(storage().mutex);    // the files' path without what tells them apart
  std::unique_ptr<Counter> m_counter CORVANE_GUARDED_BY(storage().mutex);
  std::vector<std::unique_ptr<Counter>> m_retired CORVANE_GUARDED_BY(storage().mutex);  // of files that are gone
  std::unique_ptr<Connection> m_connection CORVANE_GUARDED_BY(storage().mutex);
  std::string m_notice CORVANE_GUARDED_BY(storage().mutex);
};

// SQLite's databases must not be used on both sides of a fork, nor its file locks be inherited. Registered when the
// library is loaded, so before handlers of code that calls this while it holds locks of its own.
void beforeFork() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  storage().mutex.acquire();
  for (LinuxDomain* domain : storage().domains) domain->closeForFork();
}
void afterFork() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  storage().mutex.release();
}
[[maybe_unused]] const int s_registered = pthread_atfork(beforeFork, afterFork, afterFork);

// Watches the folder for changes of counters, on the main queue.
class Watch {
 public:
  Watch(FileDescriptor events, std::function<void()> changed)
      : m_watched(new Watched{std::move(events), std::move(changed)}),
        m_source(g_unix_fd_source_new(m_watched->events.get(), G_IO_IN)) {
    const GUnixFDSourceFunc call = [](gint, GIOCondition, gpointer data) -> gboolean {
      static_cast<Watched*>(data)->look();
      return G_SOURCE_CONTINUE;
    };
    g_source_set_callback(m_source.get(), reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(call)), m_watched,
                          [](gpointer data) { delete static_cast<Watched*>(data); });
    g_source_attach(m_source.get(), nullptr);
  }
  ~Watch() { g_source_destroy(m_source.get()); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  struct Watched {
    FileDescriptor events;
    std::function<void()> changed;

    void look() const {
      bool found = false;
      alignas(inotify_event) std::array<char, 4096> buffer;
      ssize_t size = 0;
      while ((size = uninterrupted([&] { return ::read(events.get(), buffer.data(), buffer.size()); })) > 0) {
        for (const char* at = buffer.data(); at < buffer.data() + size;) {
          const auto* event = reinterpret_cast<const inotify_event*>(at);
          found = found || event->len == 0 || std::string_view(event->name).ends_with(CHANGES);
          at += sizeof *event + event->len;
        }
      }
      if (found) changed();
    }
  };

  Watched* m_watched;  // owned by the source
  const glib::Ptr<GSource> m_source;
};

class LinuxDefaultsStore : public DefaultsStore {
 public:
  std::shared_ptr<DefaultsDomain> domain(const std::string& name) override {
    MutexLock lock(m_mutex);
    std::weak_ptr<LinuxDomain>& known = m_domains[name];
    auto domain = known.lock();
    if (!domain) known = domain = std::make_shared<LinuxDomain>(name);
    return domain;
  }

  Result<std::vector<std::string>> domains() override {
    const auto folder = settingsFolder();
    if (!folder) return passedOn(folder.error());
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(*folder, error), end; !error && entry != end; entry.increment(error)) {
      const std::string file = entry->path().filename();
      if (!file.ends_with(DATABASE)) continue;
      if (auto name = domainOf(std::string_view(file).substr(0, file.size() - DATABASE.size())))
        names.push_back(std::move(*name));
    }
    if (error && error != std::errc::no_such_file_or_directory) return fileFailure(*folder, error.value());
    std::ranges::sort(names);
    return names;
  }

  Result<std::shared_ptr<void>> observe(std::function<void()> changed) override {
    const auto folder = settingsFolder();
    if (!folder) return passedOn(folder.error());
    if (auto made = makeFolder(*folder); !made) return passedOn(made.error());
    FileDescriptor events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (events.get() < 0 || inotify_add_watch(events.get(), folder->c_str(), IN_MODIFY | IN_ONLYDIR) < 0)
      return fileFailure(*folder, errno);
    return std::make_shared<Watch>(std::move(events), std::move(changed));
  }

 private:
  Mutex m_mutex;
  std::map<std::string, std::weak_ptr<LinuxDomain>> m_domains CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace

template <>
std::shared_ptr<DefaultsStore> makeService<DefaultsStore>() {
  return std::make_shared<LinuxDefaultsStore>();
}

}  // namespace corvane
