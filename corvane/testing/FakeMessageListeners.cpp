#include "corvane/testing/FakeMessageListeners.h"

#include <utility>

namespace corvane {

class FakeMessageListeners::Listener : public MessageListener {
 public:
  explicit Listener(FakeMessageListeners& service) : m_service(service) {}
  ~Listener() override {
    close();
    MutexLock lock(m_service.m_mutex);
    m_service.m_events.reset();
  }
  void close() override {
    if (const auto before = std::exchange(m_service.beforeClose, nullptr)) before();
  }

 private:
  FakeMessageListeners& m_service;
};

MessageCaller FakeMessageListeners::caller(std::string name, std::string executable) {
  return {.name = std::move(name), .uid = 1000, .pid = 4711, .executable = std::move(executable)};
}

std::size_t FakeMessageListeners::send(Message message, MessageCaller from, bool mayAsk) {
  MutexLock lock(m_mutex);
  const std::size_t number = m_replies.size();
  m_replies.emplace_back();
  const auto events = m_events;
  lock.unlock();
  if (events)
    events->request({std::move(message), std::move(from), mayAsk, [this, number](const Message& reply) {
                       MutexLock locked(m_mutex);
                       if (!m_replies[number]) m_replies[number] = reply;
                     }});
  return number;
}

std::optional<Message> FakeMessageListeners::reply(std::size_t number) const {
  MutexLock lock(m_mutex);
  return m_replies.at(number);
}

void FakeMessageListeners::leave(const std::string& name) {
  MutexLock lock(m_mutex);
  const auto events = m_events;
  lock.unlock();
  if (events) events->callerLeft(name);
}

void FakeMessageListeners::lose(const Error& why) {
  MutexLock lock(m_mutex);
  const auto events = m_events;
  lock.unlock();
  if (events) events->lost(why);
}

std::vector<std::string> FakeMessageListeners::questions() const {
  MutexLock lock(m_mutex);
  return m_questions;
}

void FakeMessageListeners::decide() {
  MutexLock lock(m_mutex);
  const auto waiting = std::exchange(m_waiting, {});
  lock.unlock();
  for (const auto& answer : waiting) answer();
}

bool FakeMessageListeners::isListening() const {
  MutexLock lock(m_mutex);
  return m_events.has_value();
}

Result<std::unique_ptr<MessageListener>> FakeMessageListeners::listen(const std::string&, Events events) {
  if (error) return tl::unexpected(*error);
  MutexLock lock(m_mutex);
  m_events = std::move(events);
  return std::make_unique<Listener>(*this);
}

void FakeMessageListeners::authorise(const MessageCaller&, const std::string& right, bool mayAsk,
                                     std::function<void(const Result<void>& granted)> done) {
  MutexLock lock(m_mutex);
  m_questions.push_back(right + (mayAsk ? "?" : ""));
  m_waiting.emplace_back([this, right, done = std::move(done)] {
    done(rights.contains(right) ? Result<void>() : failure("fake", 1, "No right: " + right));
  });
  lock.unlock();
  if (!hesitates) decide();
}

}  // namespace corvane
