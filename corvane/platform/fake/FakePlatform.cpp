#include "corvane/platform/fake/FakePlatform.h"

#include <errno.h>

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
  Domain(std::shared_ptr<State> state, std::string name) : m_state(std::move(state)), m_name(std::move(name)) {}

  std::uint64_t generation() const noexcept override { return m_generation.load(std::memory_order_acquire); }

  Result<DefaultsContents> read() override {
    MutexLock lock(m_state->mutex);
    if (m_state->error) return tl::unexpected<Error>(*m_state->error);
    const auto& entries = m_state->entries[m_name];
    return DefaultsContents{generation(), {entries.begin(), entries.end()}};
  }

  Result<DefaultsWritten> write(const std::vector<DefaultsChange>& changes) override {
    MutexLock lock(m_state->mutex);
    if (m_state->error) return tl::unexpected<Error>(*m_state->error);
    for (const auto& [key, value] : changes) {
      if (value)
        m_state->entries[m_name][key] = *value;
      else
        m_state->entries[m_name].erase(key);
    }
    const std::uint64_t before = m_generation.fetch_add(1, std::memory_order_acq_rel);
    return DefaultsWritten{before, before + 1};
  }

  std::string takeNotice() override { return {}; }

 private:
  const std::shared_ptr<State> m_state;
  const std::string m_name;
  std::atomic<std::uint64_t> m_generation = 1;
};

std::shared_ptr<DefaultsDomain> FakeDefaultsStore::domain(const std::string& name) {
  MutexLock lock(m_state->mutex);
  auto domain = m_state->domains[name].lock();
  if (!domain) m_state->domains[name] = domain = std::make_shared<Domain>(m_state, name);
  return domain;
}

Result<std::vector<std::string>> FakeDefaultsStore::domains() {
  MutexLock lock(m_state->mutex);
  std::vector<std::string> names;
  for (const auto& [name, entries] : m_state->entries)
    if (!entries.empty()) names.push_back(name);
  return names;
}

Result<std::shared_ptr<void>> FakeDefaultsStore::observe(std::function<void()> changed) {
  auto observer = std::make_shared<std::function<void()>>(std::move(changed));
  MutexLock lock(m_state->mutex);
  m_state->observers.push_back(observer);
  return observer;
}

void FakeDefaultsStore::fail(std::optional<Error> error) {
  MutexLock lock(m_state->mutex);
  m_state->error = std::move(error);
}

void FakeDefaultsStore::changeFromOutside(const std::string& name, const std::vector<DefaultsChange>& changes) {
  if (!domain(name)->write(changes)) return;
  MutexLock lock(m_state->mutex);
  const auto observers = m_state->observers;
  lock.unlock();
  for (const auto& observer : observers)
    if (const auto held = observer.lock()) (*held)();
}

Result<std::optional<FontFace>> FakeFontBook::face(const std::string& name) {
  const auto found = faces.find(name);
  return found == faces.end() ? std::nullopt : std::optional(found->second);
}

Result<void> FakeLoginItems::add(const LoginItem& item) {
  if (error) return tl::unexpected<Error>(*error);
  items[item.label] = item;
  return {};
}

Result<void> FakeLoginItems::remove(const std::string& label) {
  if (error) return tl::unexpected<Error>(*error);
  items.erase(label);
  return {};
}

class FakeHttpSession::Task : public HttpTask {
 public:
  Task(std::shared_ptr<State> state, std::string url, Completion silent)
      : m_state(std::move(state)), m_url(std::move(url)), m_silent(std::move(silent)) {}

  void cancel() override {
    MutexLock lock(m_state->mutex);
    m_state->cancelled.push_back(m_url);
    if (!m_silent) return;
    m_state->queue->async(
        [completion = std::exchange(m_silent, nullptr)] { completion(failure("fake", 1, "cancelled")); });
  }

 private:
  const std::shared_ptr<State> m_state;
  const std::string m_url;
  Completion m_silent;  // of a request that has no answer
};

FakeHttpSession::FakeHttpSession() {
  m_state->queue = platform().serialQueues().make("fake.http", QoS::DEFAULT);
}

Result<std::shared_ptr<HttpTask>> FakeHttpSession::start(HttpRequest request, Completion completion) {
  MutexLock lock(m_state->mutex);
  m_state->requests.push_back(request);
  if (silent.contains(request.url)) return std::make_shared<Task>(m_state, request.url, std::move(completion));
  const auto found = replies.find(request.url);
  auto reply =
      found == replies.end() ? failure("fake", 1, "Nothing for " + request.url) : Result<HttpReply>(found->second);
  m_state->queue->async([completion = std::move(completion), reply = std::move(reply)] { completion(reply); });
  return std::make_shared<Task>(m_state, request.url, nullptr);
}

std::vector<HttpRequest> FakeHttpSession::requests() const {
  MutexLock lock(m_state->mutex);
  return m_state->requests;
}

std::vector<std::string> FakeHttpSession::cancelled() const {
  MutexLock lock(m_state->mutex);
  return m_state->cancelled;
}

Result<const FakeProcessTable::Process*> FakeProcessTable::find(pid_t pid) const {
  if (error) return tl::unexpected<Error>(*error);
  const auto found = processes.find(pid);
  if (found == processes.end()) return failure("posix", ESRCH, "No process " + std::to_string(pid));
  return &found->second;
}

namespace {

template <class T>
Result<T> known(const std::optional<T>& value, int otherwise) {
  if (!value) return failure("posix", otherwise, "Not told");
  return *value;
}

}  // namespace

Result<std::size_t> FakeProcessTable::pids(std::span<pid_t> into) {
  if (error) return tl::unexpected<Error>(*error);
  std::size_t count = 0;
  for (const auto& [pid, process] : processes) {
    if (count < into.size()) into[count] = pid;
    ++count;
  }
  return count;
}

Result<void> FakeProcessTable::each(const std::function<void(const ProcessInfo&)>& visit) {
  if (error) return tl::unexpected<Error>(*error);
  // Backwards: a system may list them in any order.
  for (auto entry = processes.rbegin(); entry != processes.rend(); ++entry) {
    ProcessInfo info = entry->second.info;
    info.pid = entry->first;
    visit(info);
  }
  return {};
}

Result<ProcessInfo> FakeProcessTable::process(pid_t pid) {
  return find(pid).map([pid](const Process* process) {
    ProcessInfo info = process->info;
    info.pid = pid;
    return info;
  });
}

Result<ProcessDetails> FakeProcessTable::details(pid_t pid) {
  return find(pid).and_then([this](const Process* process) { return known(process->details, lacking); });
}

Result<DiskBytes> FakeProcessTable::diskBytes(pid_t pid) {
  return find(pid).and_then([this](const Process* process) { return known(process->diskBytes, lacking); });
}

Result<std::string> FakeProcessTable::path(pid_t pid) {
  return find(pid).and_then([this](const Process* process) { return known(process->path, lacking); });
}

Result<MemoryRegion> FakeProcessTable::region(pid_t pid, std::uint64_t address) {
  return find(pid).and_then([address](const Process* process) -> Result<MemoryRegion> {
    for (const MemoryRegion& region : process->regions)
      if (region.address + region.size > address) return region;
    return failure("posix", ESRCH, "No region");
  });
}

Result<std::size_t> FakeProcessTable::descriptors(pid_t pid) {
  return find(pid).map([](const Process* process) { return process->files.size(); });
}

Result<void> FakeProcessTable::openFiles(pid_t pid, const std::function<void(int, const char*)>& visit) {
  const auto process = find(pid);
  if (!process) return tl::unexpected(process.error());
  for (const auto& [descriptor, path] : (*process)->files) visit(descriptor, path.c_str());
  return {};
}

std::optional<std::string> FakeTranslocation::originalPath(const std::string& path) {
  const auto found = originals.find(path);
  return found == originals.end() ? std::nullopt : std::optional(found->second);
}

Result<void> FakeTranslocation::verifySignature() {
  if (invalid) return tl::unexpected<Error>(*invalid);
  return {};
}

Result<bool> FakeRunningApplications::contains(pid_t pid) {
  if (error) return tl::unexpected<Error>(*error);
  return applications.contains(pid);
}

Result<std::string> FakeRunningApplications::path(pid_t pid) {
  if (error) return tl::unexpected<Error>(*error);
  const auto found = applications.find(pid);
  if (found == applications.end() || found->second.empty()) return failure("fake", 1, "No application");
  return found->second;
}

Result<void> FakeRunningApplications::activate(pid_t pid) {
  if (error) return tl::unexpected<Error>(*error);
  if (!applications.contains(pid)) return failure("fake", 1, "No application");
  activated.push_back(pid);
  active = pid;
  return {};
}

Result<bool> FakeRunningApplications::isActive(pid_t pid) {
  return contains(pid).map([&](bool contained) { return contained && pid == active; });
}

FakePlatform::FakePlatform(std::string home)
    : power(std::make_shared<FakePowerEvents>()),
      folders(std::make_shared<FakeFolders>(std::move(home))),
      bundles(std::make_shared<FakeBundles>()),
      workspace(std::make_shared<FakeWorkspace>()),
      defaultsStore(std::make_shared<FakeDefaultsStore>()),
      fontBook(std::make_shared<FakeFontBook>()),
      loginItems(std::make_shared<FakeLoginItems>()),
      http(std::make_shared<FakeHttpSession>()),
      processTable(std::make_shared<FakeProcessTable>()),
      translocation(std::make_shared<FakeTranslocation>()),
      runningApplications(std::make_shared<FakeRunningApplications>()),
      m_scope(m_platform) {
  m_platform.mainQueue.set({std::shared_ptr<void>(), &m_queues.mainQueue()});
  m_platform.serialQueues.set({std::shared_ptr<void>(), &m_queues.serialQueues()});
  m_platform.powerEvents.set(power);
  m_platform.folders.set(folders);
  m_platform.bundles.set(bundles);
  m_platform.workspace.set(workspace);
  m_platform.defaultsStore.set(defaultsStore);
  m_platform.fontBook.set(fontBook);
  m_platform.loginItems.set(loginItems);
  m_platform.httpSession.set(http);
  m_platform.processTable.set(processTable);
  m_platform.translocation.set(translocation);
  m_platform.runningApplications.set(runningApplications);
}

}  // namespace corvane
