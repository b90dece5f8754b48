#pragma once

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/linux/store/ChangeCounter.h"
#include "corvane/linux/store/DefaultsDatabase.h"
#include "corvane/platform/DefaultsStore.h"

namespace corvane::defaults_files {

class StoredDomain;

/// The lock of all domains, and the domains whose database may be open. Never destroyed.
struct Storage {
  Mutex mutex;
  std::vector<StoredDomain*> domains CORVANE_GUARDED_BY(mutex);
};

Storage& storage();

/// A domain on disk.
class StoredDomain : public DefaultsDomain {
 public:
  explicit StoredDomain(std::string name);
  ~StoredDomain() override;

  std::uint64_t generation() const noexcept override;
  Result<DefaultsContents> read() override;
  Result<DefaultsWritten> write(const std::vector<DefaultsChange>& changes) override;
  std::string takeNotice() override;

  void closeForFork() CORVANE_REQUIRES(storage().mutex);

 private:
  bool isLost(const ChangeCounter& counter) const noexcept;

  std::string database() const CORVANE_REQUIRES(storage().mutex) { return m_file + std::string(DATABASE); }

  static bool isClosed(int code) { return code == EACCES || code == EPERM || code == EROFS || code == ENOENT; }

  // Finds the files and opens the current counter.
  Result<void> place() CORVANE_REQUIRES(storage().mutex);

  // The current database, for writing. Usually takes a single check of the disk.
  Result<DefaultsDatabase*> reach() CORVANE_REQUIRES(storage().mutex);

  // Opens the database that is now at the path and checks it.
  Result<DefaultsDatabase*> connect(bool create) CORVANE_REQUIRES(storage().mutex);

  // Renames a damaged database; false if another process has done so already.
  Result<bool> setAside(const Error& reason) CORVANE_REQUIRES(storage().mutex);

  const std::string m_name;
  std::atomic<const ChangeCounter*> m_current = nullptr;   // m_counter
  mutable std::atomic<unsigned> m_reads = 0;               // approximate: two simultaneous reads may count as one
  mutable std::atomic<time_t> m_looked = 0;                // the second in which the counter's file was last checked
  std::atomic<std::uint64_t> m_inFlight = 0;               // the number announced by a write of this process
  std::string m_file CORVANE_GUARDED_BY(storage().mutex);  // the common prefix of the files' paths
  std::unique_ptr<ChangeCounter> m_counter CORVANE_GUARDED_BY(storage().mutex);
  std::vector<std::unique_ptr<ChangeCounter>> m_retired
      CORVANE_GUARDED_BY(storage().mutex);  // of files that no longer exist
  std::unique_ptr<DefaultsDatabase> m_connection CORVANE_GUARDED_BY(storage().mutex);
  std::optional<Identity> m_known CORVANE_GUARDED_BY(storage().mutex);  // the database that was opened last
  std::string m_notice CORVANE_GUARDED_BY(storage().mutex);
};

}  // namespace corvane::defaults_files
