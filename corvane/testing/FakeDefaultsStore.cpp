#include "corvane/testing/FakeDefaultsStore.h"

#include <utility>

namespace corvane {

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

}  // namespace corvane
