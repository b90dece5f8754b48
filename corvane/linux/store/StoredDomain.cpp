#include "corvane/linux/store/StoredDomain.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <optional>
#include <utility>

namespace corvane::defaults_files {

namespace {

constexpr unsigned READS_PER_LOOK = 16;

}  // namespace

Storage& storage() {
  static auto& storage = *new Storage;
  return storage;
}

StoredDomain::StoredDomain(std::string name) : m_name(std::move(name)) {
  MutexLock lock(storage().mutex);
  storage().domains.push_back(this);
}

StoredDomain::~StoredDomain() {
  MutexLock lock(storage().mutex);
  std::erase(storage().domains, this);
}

// Whether the counter's file has disappeared, as far as is known; checked once per second.
bool StoredDomain::isLost(const ChangeCounter& counter) const noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);  // without a system call
  return m_looked.exchange(now.tv_sec, std::memory_order_relaxed) != now.tv_sec && !counter.isAtItsPath();
}

std::uint64_t StoredDomain::generation() const noexcept {
  const ChangeCounter* counter = m_current.load(std::memory_order_acquire);
  if (!counter) return 0;
  const std::uint64_t announced = counter->get();
  // A file that has disappeared is no longer updated. Even a fast clock takes a tenth of the time of a read.
  const unsigned reads = m_reads.load(std::memory_order_relaxed) + 1;
  m_reads.store(reads, std::memory_order_relaxed);
  if (reads % READS_PER_LOOK == 0 && isLost(*counter)) return ~announced;
  // Announced by this process but not committed yet.
  return announced == m_inFlight.load(std::memory_order_acquire) ? announced - 1 : announced;
}

Result<DefaultsContents> StoredDomain::read() {
  MutexLock lock(storage().mutex);
  // There may be a database even if no counter may be created.
  if (const auto placed = place(); !placed && !(placed.error().domain == "posix" && isClosed(placed.error().code)))
    return passedOn(placed.error());
  DefaultsContents contents;
  contents.generation = generation();  // before the file is looked for, because it may appear now
  struct stat status {};
  if (lstat(database().c_str(), &status) != 0) {
    if (errno != ENOENT) return fileFailure(database(), errno);
    m_connection.reset();
    return contents;
  }
  for (bool again = true;; again = false) {
    const auto open = connect(false);
    Result<DefaultsContents> found = open ? (*open)->read(m_counter.get()) : passedOn(open.error());
    // Opened as immutable, it would not show later changes by its owner.
    if (!found || (*open)->isReadOnly()) m_connection.reset();
    if (found || !again || !isDamage(found.error())) return found;
    const auto aside = setAside(found.error());
    if (!aside) return passedOn(aside.error());
    contents.generation = generation();
    if (*aside) return contents;
  }
}

Result<DefaultsWritten> StoredDomain::write(const std::vector<DefaultsChange>& changes) {
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

std::string StoredDomain::takeNotice() {
  MutexLock lock(storage().mutex);
  return std::exchange(m_notice, {});
}

void StoredDomain::closeForFork() {
  if (m_connection) m_connection->closeQuickly();
  m_connection.reset();
}

Result<void> StoredDomain::place() {
  const auto folder = settingsFolder();
  if (!folder) return passedOn(folder.error());
  const std::string name = fileNameOf(m_name);
  if (name.empty() || name.size() > 200) return failure("defaults", 0, "No domain can be named \"" + m_name + "\"");
  m_file = *folder + "/" + name;
  const std::string path = m_file + std::string(CHANGES);
  if (m_counter && m_counter->isAtItsPath() && m_counter->path() == path &&
      (m_counter->isWritable() || eaccess(path.c_str(), W_OK) != 0))
    return {};
  if (auto made = makeFolder(*folder); !made) return made;
  keepPrivate(*folder);
  auto opened = ChangeCounter::open(path);
  if (!opened) return passedOn(opened.error());
  m_current.store(opened->get(), std::memory_order_release);
  if (m_counter) {
    // Other processes may still be using the deleted file, as may a thread of this one.
    m_counter->retire();
    m_retired.push_back(std::move(m_counter));
  }
  m_counter = std::move(*opened);
  return {};
}

Result<DefaultsDatabase*> StoredDomain::reach() {
  // If their folder has moved, the database is not at its path.
  if (m_counter && !m_counter->isDeleted() && m_connection && m_connection->isAtItsPath()) return m_connection.get();
  if (auto placed = place(); !placed) return passedOn(placed.error());
  return connect(true);
}

Result<DefaultsDatabase*> StoredDomain::connect(bool create) {
  if (m_connection && m_connection->isAtItsPath()) return m_connection.get();
  m_connection.reset();
  std::optional<ChangeCounter::Lock> lock;
  const bool isWritable = m_counter && m_counter->isWritable();
  if (isWritable) {
    auto taken = ChangeCounter::Lock::take(*m_counter);
    if (!taken) return passedOn(taken.error());
    lock.emplace(std::move(*taken));
  }
  const bool isNew = create && !Identity::at(database());
  auto opened = DefaultsDatabase::open(database(), create);
  if (!opened) return passedOn(opened.error());
  // A different database: what is known about the previous one is no longer valid, here and in other processes.
  const auto identity = (*opened)->identity();
  if (isWritable && (isNew || (m_known && m_known != identity)))
    if (auto announced = m_counter->set(m_counter->next()); !announced) return passedOn(announced.error());
  m_known = identity;
  m_connection = std::move(*opened);
  return m_connection.get();
}

Result<bool> StoredDomain::setAside(const Error& reason) {
  const std::string path = database();
  const auto refused = [&](const std::string& why) {
    return failure("defaults", 0, reason.description + "; it cannot be set aside: " + why);
  };
  if (!m_counter || !m_counter->isWritable()) return refused("its folder is read-only");
  const auto lock = ChangeCounter::Lock::take(*m_counter);
  if (!lock) return refused(lock.error().description);
  if (auto repaired = DefaultsDatabase::open(path, false); repaired || !isDamage(repaired.error())) return false;

  std::array<char, 32> time{};
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  std::strftime(time.data(), time.size(), ".damaged-%Y%m%d-%H%M%S", gmtime_r(&now, &utc));
  std::string kept = path + time.data();
  for (int number = 2; Identity::at(kept); ++number) kept = path + time.data() + "-" + std::to_string(number);
  if (::rename(path.c_str(), kept.c_str()) != 0) return refused(std::strerror(errno));
  // The log is renamed too. The shared memory is removed: processes that have it open keep it, and the new database
  // needs its own.
  ::rename((path + "-wal").c_str(), (kept + "-wal").c_str());
  ::unlink((path + "-shm").c_str());
  if (auto told = m_counter->set(m_counter->next()); !told) return passedOn(told.error());
  m_notice = "Settings are damaged: " + reason.description + "; the file is kept as " + kept +
             ", and the settings start empty";
  return true;
}

namespace {

// SQLite databases must not be used on both sides of a fork, and their file locks must not be inherited. Registered
// when the library is loaded, and so before the handlers of code that calls this while it holds its own locks.
void beforeFork() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  storage().mutex.acquire();
  for (StoredDomain* domain : storage().domains) domain->closeForFork();
}
void afterFork() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  storage().mutex.release();
}
[[maybe_unused]] const int s_registered = pthread_atfork(beforeFork, afterFork, afterFork);

}  // namespace

}  // namespace corvane::defaults_files
