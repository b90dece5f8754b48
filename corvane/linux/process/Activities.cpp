#include "corvane/linux/process/Activities.h"

#include "corvane/core/MainQueue.h"

namespace corvane {

std::uint64_t Activities::begin() {
  const std::uint64_t token = ++s_last;
  MutexLock lock(m_state->mutex);
  m_state->tokens.insert(token);
  lock.unlock();
  update();
  return token;
}

void Activities::end(std::uint64_t token) {
  MutexLock lock(m_state->mutex);
  m_state->tokens.erase(token);
  lock.unlock();
  update();
}

// Looks at the tokens only on the main queue: what was queued by other threads may run in another order.
void Activities::update() const {
  main_async([state = m_state] {
    MutexLock lock(state->mutex);
    if (state->tokens.empty())
      state->precise.reset();
    else if (!state->precise)
      state->precise.emplace();
  });
}

}  // namespace corvane
