#include "corvane/platform/fake/FakePlatform.h"

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

std::optional<std::string> FakeTranslocation::originalPath(const std::string& path) {
  const auto found = originals.find(path);
  return found == originals.end() ? std::nullopt : std::optional(found->second);
}

Result<void> FakeTranslocation::verifySignature() {
  if (invalid) return tl::unexpected<Error>(*invalid);
  return {};
}

FakePlatform::FakePlatform(std::string home)
    : power(std::make_shared<FakePowerEvents>()),
      folders(std::make_shared<FakeFolders>(std::move(home))),
      bundles(std::make_shared<FakeBundles>()),
      workspace(std::make_shared<FakeWorkspace>()),
      loginItems(std::make_shared<FakeLoginItems>()),
      http(std::make_shared<FakeHttpSession>()),
      translocation(std::make_shared<FakeTranslocation>()),
      m_scope(m_platform) {
  m_platform.mainQueue.set({std::shared_ptr<void>(), &m_queues.mainQueue()});
  m_platform.serialQueues.set({std::shared_ptr<void>(), &m_queues.serialQueues()});
  m_platform.powerEvents.set(power);
  m_platform.folders.set(folders);
  m_platform.bundles.set(bundles);
  m_platform.workspace.set(workspace);
  m_platform.loginItems.set(loginItems);
  m_platform.httpSession.set(http);
  m_platform.translocation.set(translocation);
}

}  // namespace corvane
