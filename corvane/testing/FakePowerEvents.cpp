#include "corvane/testing/FakePowerEvents.h"

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

void FakePowerEvents::announce(std::string_view name) {
  for (const auto& [token, subscriber] : snapshot()) subscriber.listener({std::string(name)});
}

void FakePowerEvents::fail(const Error& error) {
  for (const auto& [token, subscriber] : snapshot()) subscriber.unavailable(error);
}

std::size_t FakePowerEvents::subscribers() const {
  return snapshot().size();
}

}  // namespace corvane
