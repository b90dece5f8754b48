#include "corvane/infra/settings/UserDefaults.h"

#include <pthread.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <set>
#include <unordered_map>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/SharedInstance.h"
#include "corvane/core/Text.h"
#include "corvane/core/fatal.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds RETRY(1);

// Two locks for all settings of the process, so that a fork can wait for both: one for work on the disk, taken first,
// and one for the data in memory, which is never held for long.
Mutex& disk() {
  static auto& mutex = *new Mutex;
  return mutex;
}
Mutex& memory() {
  static auto& mutex = *new Mutex;
  return mutex;
}

void beforeFork() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  disk().acquire();
  memory().acquire();
}
void afterFork() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  memory().release();
  disk().release();
}

struct Hash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

using SharedValue = std::shared_ptr<const Value>;
using Entries = std::unordered_map<std::string, SharedValue, Hash, std::equal_to<>>;

// What is to be reported once the locks are released.
struct Report {
  std::vector<std::string> lines;
  std::set<std::string> changedKeys;
};

// A domain as known to this process.
class Layer {
 public:
  explicit Layer(std::string name) : m_name(std::move(name)) {}

  const std::string& name() const { return m_name; }

  bool isCurrent() const CORVANE_REQUIRES(memory()) {
    if (m_mustLoad) return Clock::now() < m_retry;
    return m_store->generation() == m_generation;
  }

  const SharedValue* find(std::string_view key) const CORVANE_REQUIRES(memory()) {
    const auto found = m_entries.find(key);
    return found == m_entries.end() ? nullptr : &found->second;
  }

  const Entries& entries() const CORVANE_REQUIRES(memory()) { return m_entries; }

  // Reads the domain unless it is up to date.
  Result<void> load(Report& report) CORVANE_REQUIRES(disk()) {
    {
      MutexLock lock(memory());
      if (!m_mustLoad && isCurrent()) return {};
    }
    auto contents = store().read();
    collectNotice(report);
    if (!contents) {
      noteFailure(contents.error(), report);
      MutexLock lock(memory());
      m_mustLoad = true;
      m_retry = Clock::now() + RETRY;
      return tl::unexpected<Error>(contents.error());
    }
    Entries entries;
    entries.reserve(contents->entries.size());
    for (auto& [key, bytes] : contents->entries) {
      auto value = readPropertyList(bytes);
      if (value)
        entries.emplace(std::move(key), std::make_shared<const Value>(std::move(*value)));
      else
        report.lines.push_back("Settings of " + m_name + ": the value of " + key +
                               " is damaged: " + value.error().description);
    }
    // The previous entries are destroyed after the lock is released.
    MutexLock lock(memory());
    if (m_isLoaded) findChanges(m_entries, entries, report.changedKeys);
    m_entries.swap(entries);
    m_generation = contents->generation;
    m_isLoaded = true;
    m_mustLoad = false;
    return {};
  }

  Result<void> write(const std::vector<DefaultsChange>& changes, const std::vector<SharedValue>& values, Report& report)
      CORVANE_REQUIRES(disk()) {
    auto written = store().write(changes);
    collectNotice(report);
    if (!written) {
      noteFailure(written.error(), report);
      return tl::unexpected<Error>(written.error());
    }
    m_lastFailure.clear();
    std::vector<SharedValue> dropped;  // ended after the lock
    dropped.reserve(changes.size());
    MutexLock lock(memory());
    if (m_mustLoad || written->before != m_generation) {
      m_mustLoad = true;
      lock.unlock();
      // Others have written in between. The changes are stored, whether or not reading succeeds.
      [[maybe_unused]] const auto ignored = load(report);
      return {};
    }
    for (std::size_t i = 0; i < changes.size(); ++i) {
      auto [entry, isNew] = m_entries.try_emplace(changes[i].key);
      if (isNew ? values[i] != nullptr : !values[i] || *values[i] != *entry->second)
        report.changedKeys.insert(changes[i].key);
      dropped.push_back(std::exchange(entry->second, values[i]));
      if (!values[i]) m_entries.erase(entry);
    }
    m_generation = written->after;
    return {};
  }

 private:
  DefaultsDomain& store() CORVANE_REQUIRES(disk()) {
    MutexLock lock(memory());
    if (!m_store) m_store = platform().defaultsStore().domain(m_name);
    return *m_store;
  }

  void collectNotice(Report& report) CORVANE_REQUIRES(disk()) {
    if (std::string notice = store().takeNotice(); !notice.empty()) report.lines.push_back(std::move(notice));
  }

  void noteFailure(const Error& error, Report& report) CORVANE_REQUIRES(disk()) {
    if (error.description == m_lastFailure) return;
    m_lastFailure = error.description;
    report.lines.push_back("Settings of " + m_name + ": " + error.description);
  }

  static void findChanges(const Entries& before, const Entries& after, std::set<std::string>& keys) {
    for (const auto& [key, value] : before)
      if (const auto found = after.find(key); found == after.end() || *found->second != *value) keys.insert(key);
    for (const auto& [key, value] : after)
      if (!before.contains(key)) keys.insert(key);
  }

  const std::string m_name;
  std::shared_ptr<DefaultsDomain> m_store CORVANE_GUARDED_BY(memory());  // set only once
  Entries m_entries CORVANE_GUARDED_BY(memory());
  std::uint64_t m_generation CORVANE_GUARDED_BY(memory()) = 0;
  bool m_isLoaded CORVANE_GUARDED_BY(memory()) = false;  // has been read at least once
  bool m_mustLoad CORVANE_GUARDED_BY(memory()) = true;
  Clock::time_point m_retry CORVANE_GUARDED_BY(memory());  // when to try again after a failure
  std::string m_lastFailure CORVANE_GUARDED_BY(disk());    // since something was last stored
};

std::string programDomain() {
  const auto bundle = Bundle::mainBundle();
  if (auto identifier = bundle->identifier(); identifier && !identifier->empty()) return *identifier;
  return std::filesystem::path(bundle->executablePath()).filename();
}

}  // namespace

struct UserDefaults::State {
  explicit State(std::string domain) : application(std::move(domain)) {
    if (application.name() != GLOBAL_DOMAIN) global.emplace(std::string(GLOBAL_DOMAIN));
    static std::once_flag once;
    std::call_once(once, [] { pthread_atfork(beforeFork, afterFork, afterFork); });
  }

  bool isCurrent() const CORVANE_REQUIRES(memory()) {
    return application.isCurrent() && (!global || global->isCurrent());
  }

  // Updates memory from the disk.
  Result<void> refresh() CORVANE_EXCLUDES(disk(), memory()) {
    Report report;
    Result<void> result;
    {
      MutexLock lock(disk());
      result = application.load(report);
      if (global) [[maybe_unused]]
        const auto ignored = global->load(report);
    }
    deliver(report);
    return result;
  }

  // Updates memory, then calls `use` with its lock held.
  template <class Use>
  auto read(Use&& use) CORVANE_EXCLUDES(disk(), memory()) {
    MutexLock lock(memory());
    if (!isCurrent()) {
      lock.unlock();
      [[maybe_unused]] const auto logged = refresh();
      lock.lock();
    }
    return use();
  }

  SharedValue find(std::string_view key) const CORVANE_REQUIRES(memory()) {
    if (const SharedValue* value = application.find(key)) return *value;
    if (const SharedValue* value = global ? global->find(key) : nullptr) return *value;
    const auto found = registered.find(key);
    return found == registered.end() ? nullptr : found->second;
  }

  void deliver(const Report& report) CORVANE_EXCLUDES(disk(), memory()) {
    for (const std::string& line : report.lines) logNotice(line);
    if (report.changedKeys.empty()) return;
    MutexLock lock(memory());
    if (!isObserved) return;
    const bool isPosted = !pendingKeys.empty();
    pendingKeys.insert(report.changedKeys.begin(), report.changedKeys.end());
    if (isPosted) return;
    const auto self = owner;
    lock.unlock();
    main_post([self] {
      if (const auto defaults = self.lock()) defaults->m_state->announce();
    });
  }

  // On the main queue.
  void announce() CORVANE_EXCLUDES(disk(), memory()) {
    std::set<std::string> keys;
    {
      MutexLock lock(memory());
      keys.swap(pendingKeys);
    }
    for (const std::string& key : keys) {
      Broadcast(std::string(DID_CHANGE), key, false);
      Broadcast(changeKey(), key, false);
    }
  }

  // Reads what other programs have changed, on the main queue. They announce a change before they commit it, so a
  // change that is not there yet is looked for again.
  static void look(const std::weak_ptr<UserDefaults>& observer) {
    static constexpr double PAUSE = 0.1;  // seconds
    const auto defaults = observer.lock();
    if (!defaults) return;
    const State& state = *defaults->m_state;
    const bool isCurrent = defaults->m_state->read([&state]() CORVANE_REQUIRES(memory()) { return state.isCurrent(); });
    if (!isCurrent) main_after(PAUSE, [observer] { look(observer); });
  }

  // The key for listeners to this domain only.
  std::string changeKey() const { return std::string(DID_CHANGE).append(".").append(application.name()); }

  Layer application;
  std::optional<Layer> global;  // std::nullopt if the application's domain is the global one
  Entries registered CORVANE_GUARDED_BY(memory());
  bool isObserved CORVANE_GUARDED_BY(memory()) = false;
  std::weak_ptr<UserDefaults> owner CORVANE_GUARDED_BY(memory());  // set once observed
  std::set<std::string> pendingKeys CORVANE_GUARDED_BY(memory());  // changed but not yet announced
  std::shared_ptr<void> watch CORVANE_GUARDED_BY(memory());
};

std::shared_ptr<UserDefaults> UserDefaults::shared() {
  return SharedInstance<UserDefaults>::get();
}

void UserDefaults::setShared(std::shared_ptr<UserDefaults> defaults) {
  SharedInstance<UserDefaults>::set(std::move(defaults));
}

Result<std::vector<std::string>> UserDefaults::domains() {
  return platform().defaultsStore().domains();
}

UserDefaults::UserDefaults() : UserDefaults(programDomain()) {}
UserDefaults::UserDefaults(std::string domain) : m_state(std::make_unique<State>(std::move(domain))) {}
UserDefaults::~UserDefaults() = default;

const std::string& UserDefaults::domain() const {
  return m_state->application.name();
}

std::shared_ptr<const Value> UserDefaults::value(std::string_view key) const {
  return m_state->read([&]() CORVANE_REQUIRES(memory()) { return m_state->find(key); });
}

namespace {

template <class Convert>
auto converted(const SharedValue& value, Convert&& convert) -> std::optional<decltype(convert(*value))> {
  if (!value) return std::nullopt;
  return convert(*value);
}

template <class T>
std::optional<T> copied(const T* content) {
  return content ? std::optional<T>(*content) : std::nullopt;
}

}  // namespace

std::optional<std::string> UserDefaults::string(std::string_view key) const {
  const auto found = value(key);
  return found ? stringFrom(*found) : std::nullopt;
}
std::optional<std::int64_t> UserDefaults::integer(std::string_view key) const {
  return converted(value(key), integerFrom);
}
std::optional<double> UserDefaults::real(std::string_view key) const {
  return converted(value(key), realFrom);
}
std::optional<bool> UserDefaults::boolean(std::string_view key) const {
  return converted(value(key), boolFrom);
}
std::optional<Data> UserDefaults::data(std::string_view key) const {
  const auto found = value(key);
  return found ? copied(found->asData()) : std::nullopt;
}
std::optional<Value::Array> UserDefaults::array(std::string_view key) const {
  const auto found = value(key);
  return found ? copied(found->asArray()) : std::nullopt;
}
std::optional<std::vector<std::string>> UserDefaults::stringArray(std::string_view key) const {
  const auto found = value(key);
  return found ? stringArrayFrom(*found) : std::nullopt;
}
std::optional<Value::Dictionary> UserDefaults::dictionary(std::string_view key) const {
  const auto found = value(key);
  return found ? copied(found->asDictionary()) : std::nullopt;
}

Value::Dictionary UserDefaults::dictionaryRepresentation() const {
  // Values are copied without the lock.
  const Entries all = m_state->read([&]() CORVANE_REQUIRES(memory()) {
    Entries merged = m_state->application.entries();
    if (m_state->global) merged.insert(m_state->global->entries().begin(), m_state->global->entries().end());
    merged.insert(m_state->registered.begin(), m_state->registered.end());
    return merged;
  });
  Value::Dictionary result;
  for (const auto& [key, value] : all) result.emplace(key, *value);
  return result;
}

Result<Value::Dictionary> UserDefaults::domainDictionary() const {
  if (auto loaded = m_state->refresh(); !loaded) return tl::unexpected<Error>(loaded.error());
  const Entries own =
      m_state->read([&]() CORVANE_REQUIRES(memory()) { return Entries(m_state->application.entries()); });
  Value::Dictionary result;
  for (const auto& [key, value] : own) result.emplace(key, *value);
  return result;
}

Result<void> UserDefaults::set(std::string_view key, Value value) {
  return apply({{std::string(key), std::move(value)}});
}

Result<void> UserDefaults::remove(std::string_view key) {
  return apply({{std::string(key), std::nullopt}});
}

namespace {

// The stored form of a value, if another process will be able to read it.
Result<std::string> storable(const Value& value) {
  constexpr std::size_t NEVER_TOO_LARGE =
      16384;  // bytes; values and texts of this size cannot reach the limits on reading
  auto bytes = writePropertyList(value, PropertyListFormat::BINARY);
  if (bytes && bytes->size() > NEVER_TOO_LARGE)
    if (const auto again = readPropertyList(*bytes); !again) return tl::unexpected<Error>(again.error());
  return bytes;
}

}  // namespace

Result<void> UserDefaults::apply(const std::vector<Change>& changes) {
  std::vector<DefaultsChange> encoded;
  std::vector<SharedValue> values;
  const auto refused = [this](const std::string& text) {
    logNotice("Settings of " + domain() + ": " + text);
    return failure("defaults", 0, text);
  };
  for (const Change& change : changes) {
    if (!isUtf8(change.key) || change.key.find('\0') != std::string::npos)
      return refused("a key that is not UTF-8 or holds U+0000 cannot be stored");
    encoded.push_back({change.key, std::nullopt});
    values.push_back(nullptr);
    if (!change.value) continue;
    auto bytes = storable(*change.value);
    if (!bytes) return refused("the value of " + change.key + " cannot be stored: " + bytes.error().description);
    encoded.back().value = std::move(*bytes);
    values.back() = std::make_shared<const Value>(*change.value);
  }
  if (changes.empty()) return {};
  Report report;
  Result<void> result;
  {
    MutexLock lock(disk());
    result = m_state->application.write(encoded, values, report);
  }
  m_state->deliver(report);
  return result;
}

void UserDefaults::registerDefaults(const Value::Dictionary& defaults) {
  std::vector<SharedValue> dropped;  // ended after the lock
  MutexLock lock(memory());
  for (const auto& [key, value] : defaults) {
    SharedValue& entry = m_state->registered[key];
    dropped.push_back(std::exchange(entry, std::make_shared<const Value>(value)));
  }
}

void UserDefaults::observeChanges() {
  {
    MutexLock lock(memory());
    if (std::exchange(m_state->isObserved, true)) return;
    m_state->owner = weak_from_this();
  }
  auto watch = platform().defaultsStore().observe([self = weak_from_this()] { State::look(self); });
  // Changes are compared with this.
  m_state->read([] {});
  if (!watch) {
    logNotice("Settings of " + domain() + ": changes of other programs are not reported: " + watch.error().description);
    return;
  }
  MutexLock lock(memory());
  m_state->watch = std::move(*watch);
}

Subscription UserDefaults::listen(std::function<void(std::string_view key)> function) {
  if (!function) fatal("UserDefaults::listen: the function is empty");
  observeChanges();
  return Listen(m_state->changeKey(), [function = std::move(function)](std::string_view, const std::any& key) {
    function(std::any_cast<const std::string&>(key));
  });
}

}  // namespace corvane
