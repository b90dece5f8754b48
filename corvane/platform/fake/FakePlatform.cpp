#include "corvane/platform/fake/FakePlatform.h"

#include <utility>

namespace corvane {

PowerEvents::Token FakePowerEvents::subscribe(Listener listener, std::function<void(const Error&)> unavailable) {
  MutexLock lock(m_mutex);
  m_subscribers[++m_lastToken] = {std::move(listener), std::move(unavailable)};
  return m_lastToken;
}

void FakePowerEvents::unsubscribe(Token token) {
  MutexLock lock(m_mutex);
  m_subscribers.erase(token);
}

std::map<PowerEvents::Token, FakePowerEvents::Subscriber> FakePowerEvents::snapshot() const {
  MutexLock lock(m_mutex);
  return m_subscribers;
}

void FakePowerEvents::emit(std::string_view name) {
  for (const auto& [token, subscriber] : snapshot()) subscriber.listener({std::string(name)});
}

void FakePowerEvents::fail(const Error& error) {
  for (const auto& [token, subscriber] : snapshot()) subscriber.unavailable(error);
}

std::size_t FakePowerEvents::subscribers() const {
  return snapshot().size();
}

Result<std::string> FakeFolders::below(const std::string& name) const {
  if (m_root.empty()) return failure("fake", 1, "There are no folders");
  return m_root + name;
}

Result<std::string> FakeFolders::home() {
  return below("");
}
Result<std::string> FakeFolders::library() {
  return below("/Library");
}
Result<std::string> FakeFolders::caches() {
  return below("/.cache");
}
Result<std::string> FakeFolders::applicationSupport() {
  return below("/.local/share");
}

Result<BundleFiles> FakeBundles::bundleAt(const std::string& path) {
  const auto found = byPath.find(path);
  if (found == byPath.end()) return failure("fake", 1, "No bundle at " + path);
  return found->second;
}

namespace {

Result<std::string> find(const std::map<std::string, std::string>& map, const std::string& key) {
  const auto found = map.find(key);
  if (found == map.end()) return failure("fake", 1, "Nothing for " + key);
  return found->second;
}

}  // namespace

Result<std::string> FakeWorkspace::iconFile(const std::string& path, int) {
  return find(icons, path);
}

Result<std::string> FakeWorkspace::applicationPath(const std::string& identifier) {
  return find(applications, identifier);
}

Result<void> FakeWorkspace::launch(const std::string& identifier, LaunchOptions) {
  return note("launch " + identifier);
}
Result<void> FakeWorkspace::open(const std::string& pathOrURL) {
  return note("open " + pathOrURL);
}
Result<void> FakeWorkspace::reveal(const std::string& path) {
  return note("reveal " + path);
}

Result<void> FakeWorkspace::note(std::string call) {
  calls.push_back(std::move(call));
  if (error) return tl::unexpected<Error>(*error);
  return {};
}

class FakeDefaultsStore::Domain : public DefaultsDomain {
 public:
  explicit Domain(FakeDefaultsStore& store) : m_store(store) {}

  std::uint64_t generation() const noexcept override { return m_generation.load(std::memory_order_acquire); }

  Result<DefaultsContents> read() override {
    MutexLock lock(m_store.m_mutex);
    if (m_store.m_error) return tl::unexpected<Error>(*m_store.m_error);
    return DefaultsContents{generation(), {m_entries.begin(), m_entries.end()}};
  }

  Result<DefaultsWritten> write(const std::vector<DefaultsChange>& changes) override {
    MutexLock lock(m_store.m_mutex);
    if (m_store.m_error) return tl::unexpected<Error>(*m_store.m_error);
    for (const auto& [key, value] : changes) {
      if (value)
        m_entries[key] = *value;
      else
        m_entries.erase(key);
    }
    const std::uint64_t before = m_generation.fetch_add(1, std::memory_order_acq_rel);
    return DefaultsWritten{before, before + 1};
  }

  std::string takeNotice() override { return {}; }

 private:
  FakeDefaultsStore& m_store;
  std::map<std::string, std::string> m_entries;  // with the store's lock
  std::atomic<std::uint64_t> m_generation = 1;
};

std::shared_ptr<FakeDefaultsStore::Domain> FakeDefaultsStore::make(const std::string& name) {
  MutexLock lock(m_mutex);
  auto& domain = m_domains[name];
  if (!domain) domain = std::make_shared<Domain>(*this);
  return domain;
}

std::shared_ptr<DefaultsDomain> FakeDefaultsStore::domain(const std::string& name) {
  return make(name);
}

Result<std::vector<std::string>> FakeDefaultsStore::domains() {
  MutexLock lock(m_mutex);
  std::vector<std::string> names;
  for (const auto& [name, domain] : m_domains) names.push_back(name);
  return names;
}

Result<std::shared_ptr<void>> FakeDefaultsStore::observe(std::function<void()> changed) {
  auto observer = std::make_shared<std::function<void()>>(std::move(changed));
  MutexLock lock(m_mutex);
  m_observers.push_back(observer);
  return observer;
}

void FakeDefaultsStore::fail(std::optional<Error> error) {
  MutexLock lock(m_mutex);
  m_error = std::move(error);
}

void FakeDefaultsStore::changeFromOutside(const std::string& name, const std::vector<DefaultsChange>& changes) {
  const auto written = make(name)->write(changes);
  if (!written) return;
  MutexLock lock(m_mutex);
  const auto observers = m_observers;
  lock.unlock();
  for (const auto& observer : observers)
    if (const auto held = observer.lock()) (*held)();
}

Result<std::optional<FontFace>> FakeFontBook::face(const std::string& name) {
  const auto found = faces.find(name);
  return found == faces.end() ? std::nullopt : std::optional(found->second);
}

FakePlatform::FakePlatform(std::string home)
    : power(std::make_shared<FakePowerEvents>()),
      folders(std::make_shared<FakeFolders>(std::move(home))),
      bundles(std::make_shared<FakeBundles>()),
      workspace(std::make_shared<FakeWorkspace>()),
      defaultsStore(std::make_shared<FakeDefaultsStore>()),
      fontBook(std::make_shared<FakeFontBook>()),
      m_scope(m_platform) {
  m_platform.mainQueue.set({std::shared_ptr<void>(), &m_queues.mainQueue()});
  m_platform.serialQueues.set({std::shared_ptr<void>(), &m_queues.serialQueues()});
  m_platform.powerEvents.set(power);
  m_platform.folders.set(folders);
  m_platform.bundles.set(bundles);
  m_platform.workspace.set(workspace);
  m_platform.defaultsStore.set(defaultsStore);
  m_platform.fontBook.set(fontBook);
}

}  // namespace corvane
