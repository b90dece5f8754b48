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
  std::string key;                   ///< the key
  std::optional<std::string> value;  ///< as the store keeps it
};

/// All entries of a domain as they were at one moment.
struct DefaultsContents {
  std::uint64_t generation = 0;                              ///< the number of the write that it shows
  std::vector<std::pair<std::string, std::string>> entries;  ///< key and value
};

/// A domain's generation before and after a successful write. If `before` is the one that the caller knows, no one else
/// has written in between.
struct DefaultsWritten {
  std::uint64_t before = 0;  ///< the generation that was found
  std::uint64_t after = 0;   ///< the one that was written
};

/// Named values on disk, shared by all processes of the user. Keys are UTF-8, values are any bytes. Any thread,
/// including in the child after a fork.
///
/// The domain is authoritative and keeps no copy in memory. Callers that keep a copy must compare the generation before
/// each use.
class DefaultsDomain {
 public:
  virtual ~DefaultsDomain() = default;

  /// A number that differs after every change, by any process; 0 if changes cannot be seen. Takes no lock and makes no
  /// system calls except for one check of the files per second. While this process itself is writing, it does not
  /// change.
  virtual std::uint64_t generation() const noexcept = 0;

  /// Reads all entries; there are none if the domain was never written. Does not wait for a write that another process
  /// has begun.
  virtual Result<DefaultsContents> read() = 0;

  /// Makes the changes, all or none. On success they survive the process, however it ends; a loss of power may undo the
  /// last changes, each as a whole, but damages nothing. Waits for another process's write for at most 5 s.
  virtual Result<DefaultsWritten> write(const std::vector<DefaultsChange>& changes) = 0;

  /// What read() or write() has found damaged and dealt with since the last call, as a sentence for the log; empty if
  /// nothing.
  virtual std::string takeNotice() = 0;
};

/// The user's settings on disk, in domains whose names may contain any characters. Nothing is opened or created before
/// a domain's first read or write.
///
/// Linux: one SQLite database per domain, in write-ahead mode without a sync for each write, in
/// $XDG_CONFIG_HOME/corvane (~/.config/corvane if the variable is not an absolute path):
///
///     DOMAIN.db, DOMAIN.db-wal, DOMAIN.db-shm   the database; only its SQLite library may touch these while it is open
///     DOMAIN.changes                            the generation: eight bytes, mapped by every process that reads
///     DOMAIN.db.damaged-20260307-090501         a database that could not be read any more (time in UTC), kept aside
///
/// The mode of DOMAIN.changes is 0400, so that copying a backup over it replaces it or fails. Truncating it in place,
/// which takes administrator rights or chmod, ends the processes that read it. When it is removed or replaced, every
/// process that reads it switches to the new one, after a second and a few reads.
///
/// In file names, '/', '%', control characters and a dot at the beginning of DOMAIN are written as %XX. The folder has
/// mode 0700, the other files 0600; the rights of other users are removed when a file is opened.
///
/// A database that is truncated or garbage is renamed as above, and the next write starts a new one. A file or folder
/// without the necessary permissions is left alone: whatever can be read is read, and writing fails. If this process
/// may not even create DOMAIN.changes, it does not see the changes of others. A deleted database counts as a domain
/// without entries from the next write on.
///
/// No database is open across a fork: each side opens its own when it needs one.
///
/// @feature Settings: `Defaults`, `UserDefaults`.
/// @needs A writable `$XDG_CONFIG_HOME` (`~/.config`).
/// @without Writing fails, with a line in the log; what can be read is read.
class DefaultsStore {
 public:
  virtual ~DefaultsStore() = default;

  /// The domain with a name; the same object for the same name for as long as it is held.
  virtual std::shared_ptr<DefaultsDomain> domain(const std::string& name) = 0;

  /// The names of all domains that are on disk, sorted.
  virtual Result<std::vector<std::string>> domains() = 0;

  /// Calls `changed` on the main queue soon after any process has changed any domain, until the returned object is
  /// destroyed; a call in progress may then still complete. One call may stand for many changes, and a call may come
  /// without a change.
  virtual Result<std::shared_ptr<void>> observe(std::function<void()> changed) = 0;
};

template <>
CORVANE_API std::shared_ptr<DefaultsStore> makeService<DefaultsStore>();

}  // namespace corvane
