#pragma once

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/linux/store/ChangeCounter.h"
#include "corvane/platform/DefaultsStore.h"

namespace corvane::defaults_files {

/// True if a database is damaged, or not one of ours.
bool isDamage(const Error& error);

/// An open database.
class DefaultsDatabase {
 public:
  // Call with the counter's lock held, if the file may be written.
  static Result<std::unique_ptr<DefaultsDatabase>> open(const std::string& path, bool create);

  bool isReadOnly() const { return sqlite3_db_readonly(m_database.get(), "main") != 0; }

  bool isAtItsPath() const { return Identity::at(m_path) == m_identity; }
  std::optional<Identity> identity() const { return m_identity; }

  // Closes without a checkpoint: fast, and nothing else is touched.
  void closeQuickly();

  // All entries, and the generation that goes with them. Does not wait for a slow writer.
  Result<DefaultsContents> read(const ChangeCounter* counter);

  // The number goes up before the commit: a process that is killed in between has announced one change too many, which
  // costs others an extra read, but never one too few.
  Result<DefaultsWritten> write(const std::vector<DefaultsChange>& changes, ChangeCounter& counter,
                                std::atomic<std::uint64_t>& inFlight);

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
    explicit Transaction(DefaultsDatabase& connection) : m_connection(connection) {}
    ~Transaction() {
      if (sqlite3_get_autocommit(m_connection.m_database.get()) == 0) [[maybe_unused]]
        const auto ignored = m_connection.run(m_connection.m_rollback);
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    Result<void> begin(const Statement& how) { return m_connection.run(how); }
    Result<void> commit() { return m_connection.run(m_connection.m_commit); }

   private:
    DefaultsDatabase& m_connection;
  };

  explicit DefaultsDatabase(std::string path) : m_path(std::move(path)), m_identity(Identity::at(m_path)) {}

  static Result<std::unique_ptr<DefaultsDatabase>> openAs(const std::string& path, const std::string& name, int flags);

  // Creates a complete database under another name first, so that an incomplete one is never seen.
  static Result<void> make(const std::string& path);

  Result<void> attach(const std::string& name, int flags);
  Result<void> fill();
  Result<void> check();
  Result<void> prepareAll();
  Result<void> prepare(const char* text, Statement& statement);
  Result<void> execute(const std::string& text);
  Result<void> run(const Statement& statement);
  Result<void> commit(const std::vector<DefaultsChange>& changes);
  Result<void> apply(const DefaultsChange& change);

  // The first column of the first row, as text.
  Result<std::string> query(const char* text);
  static std::string column(const Statement& statement, int number);

  tl::unexpected<Error> failed(int code) const;
  static int waitForOthers(void* self, int count);

  const std::string m_path;
  const std::optional<Identity> m_identity;
  std::chrono::microseconds m_patience = LIMIT;
  std::chrono::steady_clock::time_point m_waitEnd;
  std::unique_ptr<sqlite3, Release> m_database;
  Statement m_begin, m_beginRead, m_commit, m_rollback, m_select, m_upsert, m_remove;  // destroyed before the database
};

}  // namespace corvane::defaults_files
