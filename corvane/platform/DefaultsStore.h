#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// One entry of a domain to be stored, or to be removed if it has no value.
struct DefaultsChange {
  std::string key;
  std::optional<std::string> value;
};

/// All entries of a domain as they were at one moment.
struct DefaultsContents {
  std::uint64_t generation = 0;
  std::vector<std::pair<std::string, std::string>> entries;  ///< key and value
};

/// What a successful write did to a domain's generation. If `before` is the one that the caller knows, nobody else has
/// written in between.
struct DefaultsWritten {
  std::uint64_t before = 0;
  std::uint64_t after = 0;
};

/// Named values on disk, shared by all processes of the user. Keys are UTF-8, values any bytes. Any thread, and also in
/// the child after a fork.
///
/// The domain is authoritative and keeps no copy in memory. Whoever keeps one compares its generation before each use.
class DefaultsDomain {
 public:
  virtual ~DefaultsDomain() = default;

  /// A number that becomes another with every change, whoever makes it; 0 where changes cannot be seen. No lock, and no
  /// system call but one look at the files a second. While this process itself writes it stays the one of before.
  virtual std::uint64_t generation() const noexcept = 0;

  /// Reads all entries; none if the domain was never written. Does not wait for a write that another process has begun.
  virtual Result<DefaultsContents> read() = 0;

  /// Makes the changes, all or none. On success they outlive the process, however it ends; a loss of power may undo the
  /// last ones, whole, and damages nothing. Waits for another process's write, for at most 5 s.
  virtual Result<DefaultsWritten> write(const std::vector<DefaultsChange>& changes) = 0;

  /// What read() or write() found out of order and has dealt with since the last call, as a sentence for the log; empty
  /// if nothing.
  virtual std::string takeNotice() = 0;
};

/// The user's settings on disk, in domains named by texts of any characters. Nothing is opened or made before a
/// domain's first read or write.
///
/// Linux: one SQLite database a domain, in write-ahead mode without a sync for each write, below
/// $XDG_CONFIG_HOME/corvane (~/.config/corvane if the variable is not an absolute path):
///
///     DOMAIN.db, DOMAIN.db-wal, DOMAIN.db-shm   the database; only its SQLite library may touch these while it is open
///     DOMAIN.changes                            the generation: eight bytes, mapped by every process that reads
///     DOMAIN.db.damaged-20260307-090501         a database that could not be read any more (time in UTC), kept aside
///
/// The mode of DOMAIN.changes is 0400, so that a backup that is copied over it replaces it or fails. To cut it off in
/// place, which only the administrator and chmod can, ends the processes that read. When it is removed or replaced,
/// every process that reads turns to the new one, after a second and a few reads.
///
/// In file names, '/', '%', control characters and a dot at the beginning of DOMAIN stand as %XX. The folder has mode
/// 0700, the other files 0600; rights of others are taken away when a file is opened.
///
/// A database that is truncated or garbage is renamed as above, and the next write starts a new one. A file or folder
/// that permissions close is left alone: what can be read is read, and writing fails. Changes that others make where
/// this process may not even create DOMAIN.changes are not seen. A deleted database counts as a domain without entries
/// from the next write on.
///
/// No database is open across a fork: each side opens its own when it needs one.
class DefaultsStore {
 public:
  virtual ~DefaultsStore() = default;

  /// The domain of a name; the same object for the same name as long as somebody holds it.
  virtual std::shared_ptr<DefaultsDomain> domain(const std::string& name) = 0;

  /// The names of all domains that are on disk, sorted.
  virtual Result<std::vector<std::string>> domains() = 0;

  /// Calls `changed` on the main queue soon after any process has changed any domain, until the returned object is
  /// destroyed; a call that is under way then may still run to its end. One call may stand for many changes, and
  /// calls without a change happen.
  virtual Result<std::shared_ptr<void>> observe(std::function<void()> changed) = 0;
};

template <>
CORVANE_API std::shared_ptr<DefaultsStore> makeService<DefaultsStore>();

}  // namespace corvane
